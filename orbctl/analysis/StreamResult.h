// SPDX-License-Identifier: MIT
#pragma once

#include <vector>

#include "orbctl/sound/Frames.h"

namespace orbctl {

/// A stretch of a recording that equals the source sample for sample.
struct Segment {
    FrameNumber fileFrame = 0;
    FrameNumber sourceFrame = 0;
    FrameNumber frames = 0;

    /// How many frames later than in the source the stretch stands in the recording.
    FrameNumber offset() const { return fileFrame - sourceFrame; }

    bool operator==(const Segment&) const = default;
};

/// What lies between two segments.
enum class BreakKind {
    gap,        // silence where the source has sound
    skip,       // nothing in the recording, but the source goes on further ahead
    repeat,     // nothing in the recording, but the source goes on further back
    corruption, // sound that the source does not have there: changed, mixed or foreign
};

/// The end of one segment and the beginning of the next.
struct Break {
    BreakKind kind = BreakKind::gap;
    FrameNumber fileFrame = 0;       // behind the segment before
    FrameNumber fileFrames = 0;      // until the next segment
    FrameNumber nonSilentFrames = 0; // of these
    FrameNumber sourceFrame = 0;     // behind the segment before
    FrameNumber sourceJump = 0; // from there to the next segment; negative when the source is heard again
    FrameNumber sourceFramesLost = 0;

    bool operator==(const Break&) const = default;
};

/// What is known about one recording. All counts are frames unless said otherwise; frames of the source that
/// are silent are never counted as lost or duplicated.
struct StreamResult {
    /// At most this many segments and breaks are listed; all are counted.
    static constexpr std::size_t mostListed = 10000;

    std::vector<Segment> segments;
    std::vector<Break> breaks;
    FrameNumber segmentCount = 0;
    FrameNumber breakCount = 0;

    FrameNumber frames = 0;              // of the recording; the sum of the next five
    FrameNumber leadingSilentFrames = 0; // silent, before the first segment
    FrameNumber matchedFrames = 0;       // in segments
    FrameNumber gapFrames = 0;           // silent, between segments
    FrameNumber unmatchedFrames = 0;     // not silent, in no segment
    FrameNumber tailFrames = 0;          // silent, behind the last segment

    FrameNumber sourceFramesLostAtStart = 0; // before the first segment
    FrameNumber sourceFramesLostBetween = 0; // at breaks
    FrameNumber sourceFramesLostAtEnd = 0;   // behind the furthest frame heard
    FrameNumber duplicatedFrames = 0;        // of the source, heard more than once

    /// Whether the furthest frame heard is the source's last.
    bool sourceEndReached = false;

    FrameNumber mismatchedFrames() const { return gapFrames + unmatchedFrames; }
    FrameNumber sourceFramesLost() const {
        return sourceFramesLostAtStart + sourceFramesLostBetween + sourceFramesLostAtEnd;
    }

    bool operator==(const StreamResult&) const = default;
};

} // namespace orbctl
