// SPDX-License-Identifier: MIT
#pragma once

#include "platform/airplay/embedded/EmbeddedReceiver.h"

#include <sndfile.h>

#include <memory>

namespace airplay {

/// Stores what one receiver hears, and tells its observer. Owned by the route's playing half, on the playout
/// queue. Silence costs nothing until sound follows it, or the end. Of a process that is killed all but the
/// last second can be read.
class SoundFileOutput final : public ReceiverOutput {
  public:
    /// Opens the entry's file, if it has one, anew.
    SoundFileOutput(std::shared_ptr<const ReceiverEntry> entry, Report report, FrameObserver observer);

    void play(std::span<const float> frames, FrameIndex first) noexcept override;
    void silenceUntil(FrameIndex) noexcept override {}
    void finish(FrameIndex end) noexcept override;

  private:
    struct Close {
        void operator()(SNDFILE* file) const noexcept { sf_close(file); }
    };

    void open();
    void fillUntil(FrameIndex end) noexcept;
    void write(std::span<const float> frames) noexcept;
    void announce() noexcept;
    void giveUp(const char* what, const char* reason) noexcept;

    const std::shared_ptr<const ReceiverEntry> entry_; // as it was when the route began
    const Report report_;
    const FrameObserver observer_;
    std::unique_ptr<SNDFILE, Close> file_; // null: nothing is stored (any more)
    FrameIndex stored_ = 0;
    FrameIndex announced_ = 0; // as the file's header has it
};

} // namespace airplay
