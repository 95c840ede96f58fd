// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <span>
#include <vector>

#include "orbctl/analysis/SourceIndex.h"
#include "orbctl/analysis/SourceWindow.h"

namespace orbctl {

/// Bounds, both included, of how many frames later than in the source a frame stands in the recording.
struct OffsetRange {
    FrameNumber least = 0;
    FrameNumber most = 0;

    bool contains(FrameNumber offset) const { return offset >= least && offset <= most; }
};

/// Which of several fitting alignments is believed.
struct AlignmentPreference {
    std::optional<OffsetRange> hint; // fitting alignments inside go first
    FrameNumber expectedOffset = 0;  // then the nearest to this
    std::vector<FrameNumber> likely; // offsets tried at every frame, without the index
};

/// Recorded frames not aligned yet, one after the other.
struct RecordedFrames {
    std::span<const float> frames;
    FrameNumber firstFileFrame = 0; // where frames.front() stands in the recording
};

/// A frame of the recording and the offset at which it equals the source.
struct FoundAlignment {
    FrameNumber fileFrame = 0;
    FrameNumber offset = 0;
};

/// Finds where recorded frames stand in the source, by content alone.
///
/// Alignments that fit are followed for a while and the longest wins, so that a repeating or nearly constant
/// stretch does not mislead; those that fit equally long are told apart by the preference. Keeps nothing
/// between searches but references. One thread.
class AlignmentSearch {
  public:
    AlignmentSearch(const SourceWindow& window, const SourceIndex& index) : window_(window), index_(index) {}

    /// Frames past a searched frame that must be at hand to judge it, unless the recording has ended: the
    /// window, its way to the next index entry, and 46 ms to see whether the match goes on.
    static constexpr std::size_t judgementFrames =
        RollingHash::windowFrames + static_cast<std::size_t>(SourceIndex::anchorSpacing) + 2048;

    /// Searches alignments that begin at one of the first `searchedFrames` of `recorded`.
    std::optional<FoundAlignment> find(const RecordedFrames& recorded, std::size_t searchedFrames,
                                       const AlignmentPreference& preference);

  private:
    struct Candidate {
        FoundAlignment found;
        FrameNumber matchEnd = 0; // file frame behind the match
    };

    void collectLikely(const RecordedFrames& recorded, std::size_t at, const AlignmentPreference& preference);
    void collectIndexed(const RecordedFrames& recorded, std::size_t at, std::uint64_t hash,
                        const AlignmentPreference& preference);
    void consider(const RecordedFrames& recorded, std::size_t at, FrameNumber offset, std::size_t leastMatch);
    std::optional<FoundAlignment> best(const AlignmentPreference& preference) const;

    const SourceWindow& window_;
    const SourceIndex& index_;
    std::vector<Candidate> candidates_;
};

} // namespace orbctl
