// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <unordered_map>
#include <vector>

#include "orbctl/analysis/SourceWindow.h"
#include "orbctl/sound/Frames.h"

namespace orbctl {

/// Hash of the last `windowFrames` frames pushed, kept up to date in constant time per frame.
class RollingHash {
  public:
    /// Six milliseconds: enough to make a stretch of sound unmistakable, little enough to align on short
    /// ones.
    static constexpr std::size_t windowFrames = 256;

    void push(const float* frame);

    /// True when a whole window was pushed and not all of its frames are the same. A constant stretch fits at
    /// too many places to say anything about alignment.
    bool telling() const { return pushed_ >= windowFrames && run_ < windowFrames; }

    std::uint64_t value() const { return hash_; }

  private:
    std::array<std::uint64_t, windowFrames> ring_{};
    std::size_t pushed_ = 0;
    std::size_t run_ = 0; // equal frames at the end of what was pushed
    std::uint64_t lastFrame_ = 0;
    std::uint64_t hash_ = 0;
};

/// Finds the places of a SourceWindow where a given window of frames may stand.
///
/// Every `anchorSpacing`-th position is entered. Whoever looks up that many successive windows of a stretch
/// that occurs in the source meets an entry, so the whole source costs one entry per spacing. One thread.
class SourceIndex {
  public:
    static constexpr FrameNumber anchorSpacing = 64;

    /// Enters the positions whose windows are held by `window` and were not entered before; the frames are
    /// hashed once however often this is called while the window moves forward.
    void extend(const SourceWindow& window);

    /// Lets go of positions before `position`, in bulk now and then.
    void forgetBefore(FrameNumber position);

    /// Ascending positions whose windows have this hash: at most `mostPositions`, those around `expected`.
    /// Equal hashes do not prove equal frames. Valid until the next change.
    std::span<const FrameNumber> positions(std::uint64_t hash, FrameNumber expected) const;

    static constexpr std::size_t mostPositions = 64;

  private:
    std::unordered_map<std::uint64_t, std::vector<FrameNumber>> entries_;
    RollingHash rolling_;
    FrameNumber runBegin_ = 0; // first frame pushed into rolling_
    FrameNumber hashedEnd_ = 0;
    FrameNumber forgotten_ = 0;
};

} // namespace orbctl
