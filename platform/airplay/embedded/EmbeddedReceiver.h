// SPDX-License-Identifier: MIT
#pragma once

#include "platform/airplay/PlaybackSystem.h"
#include "platform/airplay/Receiver.h"
#include "platform/airplay/embedded/ReceiversFile.h"

#include <atomic>
#include <functional>
#include <memory>
#include <span>

namespace airplay {

/// Listens to a receiver: the interleaved stereo frames from `first` on. On the playout queue, in order; what
/// no call brings is silence. It does not throw.
using FrameObserver = std::function<void(std::span<const float> frames, FrameIndex first)>;

/// A receiver within this process, which plays into a sound file: WAV, 32-bit float, stereo, 44100 Hz, of any
/// length (RF64 where it exceeds 4 GB). Frame f of the file is frame f of the route's time line; samples are
/// stored as sent, whatever the volume. A file that cannot be opened or written is reported once; the
/// receiver then goes on without storing.
class EmbeddedReceiver final : public Receiver {
  public:
    /// `observer` may be empty.
    EmbeddedReceiver(ReceiverEntry entry, Report report, FrameObserver observer = {});

    const ReceiverDescription& description() const noexcept override { return entry_.description; }
    float volume() const noexcept override { return volume_.load(); }
    void setVolume(float volume) noexcept override;
    std::unique_ptr<ReceiverOutput> open(const FrameGrid& grid) override;

    const ReceiverEntry& entry() const noexcept { return entry_; }

  private:
    const ReceiverEntry entry_;
    const Report report_;
    const FrameObserver observer_;
    std::atomic<float> volume_; // written and read by anybody
};

} // namespace airplay
