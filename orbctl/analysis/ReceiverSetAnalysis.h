// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "orbctl/analysis/ReceiverComparison.h"
#include "orbctl/analysis/StreamAnalysis.h"

namespace orbctl {

/// Opens a stream from its front; called again, it yields the same frames again.
using OpenReader = std::function<std::unique_ptr<FrameReader>()>;

/// What is known about one of several recordings of the same source.
struct ReceiverResult {
    StreamResult stream;
    ComparisonResult againstFirst;            // identical for the first itself
    std::optional<FrameNumber> offsetToFirst; // frames heard later than by the first; 0 for the first itself
};

/// Analyses several recordings of one source.
///
/// Only the first is compared with the source; the others are compared with the first, and those identical to
/// it take over its result. Recordings that differ are read once more, each with a source of its own.
/// Exceptions of the readers pass through.
std::vector<ReceiverResult> analyseReceivers(const OpenReader& source,
                                             const std::vector<OpenReader>& recordings,
                                             const StreamAnalysisOptions& options, RecordingEnd end);

} // namespace orbctl
