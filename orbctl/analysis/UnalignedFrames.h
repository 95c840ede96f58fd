// SPDX-License-Identifier: MIT
#pragma once

#include <span>
#include <vector>

#include "orbctl/analysis/AlignmentSearch.h"
#include "orbctl/sound/Frames.h"

namespace orbctl {

/// Recorded frames behind the last segment that stand nowhere in the source yet.
///
/// Frames are searched from front to back. Those searched in vain stay for a while, because a later match may
/// reach back into them, and are then dropped and only counted. Owned by one StreamAnalysis.
class UnalignedFrames {
  public:
    /// Forgets all; the next frame appended stands at `fileFrame`.
    void restart(FrameNumber fileFrame);

    void append(std::span<const float> interleavedFrames);

    /// Passes over silence at the searched position.
    void skipSilence();

    /// Passes over `frames` frames that match nothing.
    void skip(std::size_t frames);

    /// Frames not searched yet.
    RecordedFrames searchable() const;

    /// All frames held, those searched in vain included.
    RecordedFrames held() const;

    /// File frame of the first frame behind the last segment.
    FrameNumber begin() const { return begin_; }

    /// File frame behind the last frame appended.
    FrameNumber end() const;

    /// Frames before `held()`, all silent, that reach back from it without a break.
    FrameNumber silentBeforeHeld() const { return silentBeforeHeld_; }

    /// Frames in [begin, fileFrame) that are not silent; `fileFrame` lies in the silence before `held()`, in
    /// it, or behind it.
    FrameNumber nonSilentBefore(FrameNumber fileFrame) const;

    /// File frame of the first frame that is not silent, once there is one; else `end()`.
    FrameNumber firstSounding() const;

  private:
    void trim();

    std::vector<float> store_;
    std::size_t head_ = 0;     // in frames: first held
    std::size_t searched_ = 0; // in frames: first not searched, >= head_
    FrameNumber begin_ = 0;
    FrameNumber heldBegin_ = 0; // file frame of store_[head_]
    FrameNumber silentBeforeHeld_ = 0;
    FrameNumber nonSilentDropped_ = 0;
    FrameNumber firstSounding_ = -1;
};

} // namespace orbctl
