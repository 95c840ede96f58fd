// SPDX-License-Identifier: MIT
#pragma once

#include "platform/airplay/PlaybackSystem.h"
#include "platform/airplay/Receiver.h"
#include "platform/airplay/embedded/ReceiverEntry.h"
#include "platform/dispatch/Ownership.h"
#include "platform/dispatch/Queue.h"
#include "platform/foundation/Observable.h"

#include <functional>
#include <memory>
#include <span>
#include <vector>

namespace airplay {

class EmbeddedConnection;

/// Listens to a receiver: the interleaved stereo frames from `first` on. On the playout queue, in order; what
/// no call brings is silence. It does not throw.
using FrameObserver = std::function<void(std::span<const float> frames, FrameIndex first)>;

/// A receiver within this process, which behaves as its entry says and plays into a sound file: WAV, 32-bit
/// float, stereo, 44100 Hz, of any length (RF64 where it exceeds 4 GB). Frame f of the file is frame f of the
/// route's time line; samples are stored as sent, whatever the volume. A file that cannot be opened or
/// written is reported once; the receiver then goes on without storing.
/// Always made as a shared object.
class EmbeddedReceiver final : public Receiver, public std::enable_shared_from_this<EmbeddedReceiver> {
  public:
    struct Surroundings {
        dispatch::Queue& mainQueue;
        Report report;
        FrameObserver observer = {}; ///< may be empty
    };

    EmbeddedReceiver(ReceiverEntry entry, Surroundings surroundings);

    std::shared_ptr<const ReceiverDescription> description() const override;
    float volume() const noexcept override { return volume_.get(); }
    void setVolume(float volume) override;
    foundation::Subscription observeVolume(std::function<void(float)> handler) override;
    std::unique_ptr<ReceiverConnection> connect(ReceiverConnectionDelegate& delegate) override;
    std::unique_ptr<ReceiverOutput> open(const FrameGrid& grid) override;

    /// As it is now, never null.
    std::shared_ptr<const ReceiverEntry> entry() const ORB_EXCLUDES(lock_);

    /// Takes over an entry that was edited, with the same identifier. What has begun goes on as it was to.
    /// The knob turns if its place in the entry has. Main queue.
    void update(ReceiverEntry entry);

    /// Comes into sight again. Main queue, or where nothing runs on it.
    void appear();
    /// Goes out of sight, and its connections are lost. Main queue.
    void vanish();
    foundation::Observable<bool>& isInSight() noexcept { return isInSight_; }

  private:
    friend class EmbeddedConnection; // main queue

    void add(EmbeddedConnection& connection);
    void remove(EmbeddedConnection& connection);

    /// What turns up where this was asked for: usually this.
    std::shared_ptr<EmbeddedReceiver> turnsUpAs();

    const Surroundings surroundings_;
    mutable dispatch::Lock lock_;
    std::shared_ptr<const ReceiverEntry> entry_ ORB_GUARDED_BY(lock_);
    foundation::Observable<float> volume_;
    foundation::Observable<bool> isInSight_{true}; // changed on the main queue
    std::shared_ptr<EmbeddedReceiver> other_ ORB_GUARDED_BY(surroundings_.mainQueue);
    std::vector<EmbeddedConnection*> connections_ ORB_GUARDED_BY(surroundings_.mainQueue);
};

} // namespace airplay
