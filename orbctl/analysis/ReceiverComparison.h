// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <span>

#include "orbctl/analysis/StreamResult.h"
#include "orbctl/sound/Frames.h"

namespace orbctl {

/// How two recordings on one time line differ. Frames of one that lie behind the other's end count as
/// different unless they are silent, since recordings need not stop together.
struct ComparisonResult {
    FrameNumber comparedFrames = 0;
    FrameNumber differingFrames = 0;
    std::optional<FrameNumber> firstDifference; // file frame

    bool identical() const { return differingFrames == 0; }
    bool operator==(const ComparisonResult&) const = default;
};

/// Compares two recordings frame by frame, file frame f with file frame f. One thread.
class ReceiverComparison {
  public:
    /// The next frames of both; as many frames in the one as in the other.
    void feed(std::span<const float> first, std::span<const float> second);

    /// Frames of either recording behind the end of the other.
    void feedRest(std::span<const float> rest);

    const ComparisonResult& result() const { return result_; }

  private:
    void countDifference(FrameNumber fileFrame);

    ComparisonResult result_;
};

/// How many frames later the second recording is heard than the first, told by the first stretch of the
/// source that both contain; nothing when there is none.
std::optional<FrameNumber> offsetBetween(const StreamResult& first, const StreamResult& second);

} // namespace orbctl
