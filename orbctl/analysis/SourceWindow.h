// SPDX-License-Identifier: MIT
#pragma once

#include <span>
#include <vector>

#include "orbctl/sound/Frames.h"

namespace orbctl {

/// The stretch [begin, end) of a source that is held in memory while the source is read once, forward.
///
/// Its owner decides how far it reads ahead and what it forgets, and so bounds the memory. One thread.
class SourceWindow {
  public:
    /// The reader must outlive the window.
    explicit SourceWindow(FrameReader& source);

    FrameNumber begin() const { return begin_; }
    FrameNumber end() const { return end_; }

    /// True once the source has ended; `end()` is then its length.
    bool exhausted() const { return exhausted_; }

    /// Reads on until the window holds the frames before `wanted` or the source ends.
    void readUpTo(FrameNumber wanted);

    /// Forgets every frame before `position`, which is brought into the window's bounds.
    void discardBefore(FrameNumber position);

    /// The frame at `position` and those after it up to `end()`; valid until the next `readUpTo`.
    /// `position` lies in [begin, end].
    const float* at(FrameNumber position) const;

    /// The frames of [from, to), brought into the window's bounds; same validity as `at`.
    std::span<const float> frames(FrameNumber from, FrameNumber to) const;

  private:
    void makeRoom(std::size_t samples);

    FrameReader& source_;
    std::vector<float> store_;
    std::size_t head_ = 0; // in samples: where the frame `begin_` stands in the store
    std::size_t tail_ = 0; // in samples: where the frame `end_` will stand
    FrameNumber begin_ = 0;
    FrameNumber end_ = 0;
    bool exhausted_ = false;
};

} // namespace orbctl
