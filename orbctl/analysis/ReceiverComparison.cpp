// SPDX-License-Identifier: MIT
#include "orbctl/analysis/ReceiverComparison.h"

#include <algorithm>

namespace orbctl {

void ReceiverComparison::feed(std::span<const float> first, std::span<const float> second) {
    const std::size_t frames = std::min(frameCount(first), frameCount(second));
    std::size_t done = equalFrames(first.data(), second.data(), frames);
    for (; done < frames; ++done) {
        if (!framesEqual(&first[done * channelCount], &second[done * channelCount])) {
            countDifference(result_.comparedFrames + static_cast<FrameNumber>(done));
        }
    }
    result_.comparedFrames += static_cast<FrameNumber>(frames);
}

void ReceiverComparison::feedRest(std::span<const float> rest) {
    for (std::size_t i = 0; i < frameCount(rest); ++i) {
        if (!isSilent(&rest[i * channelCount])) {
            countDifference(result_.comparedFrames + static_cast<FrameNumber>(i));
        }
    }
    result_.comparedFrames += static_cast<FrameNumber>(frameCount(rest));
}

void ReceiverComparison::countDifference(FrameNumber fileFrame) {
    ++result_.differingFrames;
    if (!result_.firstDifference) {
        result_.firstDifference = fileFrame;
    }
}

std::optional<FrameNumber> offsetBetween(const StreamResult& first, const StreamResult& second) {
    for (const Segment& one : first.segments) {
        for (const Segment& other : second.segments) {
            const FrameNumber begin = std::max(one.sourceFrame, other.sourceFrame);
            const FrameNumber end = std::min(one.sourceFrame + one.frames, other.sourceFrame + other.frames);
            if (begin < end) {
                return other.offset() - one.offset();
            }
        }
    }
    return std::nullopt;
}

} // namespace orbctl
