// SPDX-License-Identifier: MIT
#pragma once

#include "orbctl/analysis/StreamAnalysis.h"
#include "tests/orbctl/sound/TestSounds.h"

namespace orbctl::test {

/// Analyses a recording fed in blocks of a size that divides nothing.
inline StreamResult analyse(const Samples& source, const Samples& recording,
                            StreamAnalysisOptions options = {}, RecordingEnd end = RecordingEnd::withSource) {
    constexpr std::size_t blockSamples = 5003 * channelCount;
    MemoryReader reader(source);
    StreamAnalysis analysis(reader, options);
    for (std::size_t at = 0; at < recording.size(); at += blockSamples) {
        analysis.feed(std::span(recording).subspan(at, std::min(blockSamples, recording.size() - at)));
    }
    return analysis.finish(end);
}

} // namespace orbctl::test
