// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <span>

#include "orbctl/analysis/AlignmentSearch.h"
#include "orbctl/analysis/SourceIndex.h"
#include "orbctl/analysis/SourceWindow.h"
#include "orbctl/analysis/StreamResult.h"
#include "orbctl/analysis/UnalignedFrames.h"

namespace orbctl {

struct StreamAnalysisOptions {
    /// Where the recording is expected to stand against the source: bounds of file frame - source frame.
    std::optional<OffsetRange> expectedOffset = std::nullopt;

    /// How far back of the last matching frame the source may be heard again.
    FrameNumber lookBackFrames = 5 * framesPerSecond;

    /// How far ahead of the last matching and of the expected frame the source may go on.
    FrameNumber lookAheadFrames = 30 * framesPerSecond;

    /// Source frames held at most (8 bytes each), reached only when the recording is lost for long.
    FrameNumber mostSourceFrames = 90 * framesPerSecond;
};

/// Whether the recording should contain the source to its end.
enum class RecordingEnd { withSource, early };

/// Compares one recording with the source, sample for sample, while both are streamed.
///
/// Either locked: the recording equals the source from the last segment's start on, and is compared directly.
/// Or lost: recorded frames are kept back until content tells where they stand in the source. Memory is
/// bounded by the options. Owned and fed by one thread.
class StreamAnalysis {
  public:
    /// The source must outlive the analysis, which alone reads it.
    explicit StreamAnalysis(FrameReader& source, StreamAnalysisOptions options = {});

    /// The next frames of the recording, a whole number of any count. Not allowed after `finish`.
    void feed(std::span<const float> interleavedFrames);

    /// Ends the recording. With `RecordingEnd::withSource` the rest of the source is read and counted as
    /// lost.
    const StreamResult& finish(RecordingEnd end = RecordingEnd::withSource);

    /// What is known so far; complete after `finish`.
    const StreamResult& result() const { return result_; }

  private:
    enum class Input { goesOn, ended };

    std::size_t compareLocked(std::span<const float> frames);
    void closeSegment();
    void search(Input input);
    bool searchOnce(Input input);
    void prepareSource(const RecordedFrames& recorded);
    AlignmentPreference preference() const;
    void lock(const FoundAlignment& found);
    FrameNumber firstEqualFrame(const FoundAlignment& found) const;
    void recordStart(const Segment& segment);
    void recordBreak(const Segment& segment);
    void discardSourceBefore(FrameNumber position);
    FrameNumber soundingSourceFrames(FrameNumber from, FrameNumber to) const;
    void countRestOfSource();

    StreamAnalysisOptions options_;
    SourceWindow window_;
    SourceIndex index_;
    AlignmentSearch alignment_;
    UnalignedFrames unaligned_; // meaningless while locked
    StreamResult result_;

    bool locked_ = false;
    Segment current_;               // while locked; afterwards the last one, if any
    FrameNumber nextSound_ = 0;     // while lost: source frame where the next sound may begin
    FrameNumber reached_ = 0;       // source frame behind the furthest one heard
    FrameNumber repeatedUpTo_ = 0;  // `reached_` when the current segment began
    FrameNumber forgottenLoss_ = 0; // sounding frames from `reached_` on that left the window unheard
};

} // namespace orbctl
