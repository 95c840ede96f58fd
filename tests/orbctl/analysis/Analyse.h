// SPDX-License-Identifier: MIT
#pragma once

#include "orbctl/analysis/StreamAnalysis.h"
#include "tests/orbctl/sound/TestSounds.h"

namespace orbctl::test {

/// Analyses a recording fed in blocks, by default of a size that divides nothing.
inline StreamResult analyse(const Samples& source, const Samples& recording,
                            StreamAnalysisOptions options = {}, RecordingEnd end = RecordingEnd::withSource,
                            std::size_t blockFrames = 5003) {
    MemoryReader reader(source);
    StreamAnalysis analysis(reader, options);
    const std::size_t block = blockFrames * channelCount;
    for (std::size_t at = 0; at < recording.size(); at += block)
        analysis.feed(std::span(recording).subspan(at, std::min(block, recording.size() - at)));
    return analysis.finish(end);
}

} // namespace orbctl::test
