// SPDX-License-Identifier: MIT
#pragma once

#include "orbctl/analysis/ReceiverSetAnalysis.h"

#include <cstdint>
#include <string>
#include <vector>

namespace orbctl {

/// How long after it was put in a sound is heard, at the start of a segment.
struct HeardLatency {
    double timeSeconds = 0.0; // on the time line of the recordings
    double seconds = 0.0;
};

/// One receiver and its recording.
struct ReceiverReport {
    std::string name;
    std::string file;
    ReceiverResult result;
    std::vector<HeardLatency> heardLatencies;

    // As the receiver counted them while it was fed.
    std::int64_t gaps = 0;     // buffers that began later than the one before had ended
    std::int64_t overlaps = 0; // buffers that began before the one before had ended
    std::int64_t lateBuffers = 0;
};

/// The engine gave up its time relation and began anew.
struct Resynchronisation {
    double timeSeconds = 0.0; // on the time line of the recordings
    std::string reason;
};

/// What a run is judged by; refers to the caller's.
struct JudgedRun {
    const std::vector<ReceiverReport>& receivers;
    const std::vector<Resynchronisation>& resynchronisations;
    double latencySeconds = 2.0; // as set in the engine
};

/// Whether the run was perfect: every recording identical to every other, bit-identical to the source,
/// complete from its first heard frame on but for one silent jump per resynchronisation, no gap, no overlap,
/// no late buffer.
struct Verdict {
    bool perfect = false;
    std::vector<std::string> reasons; // why not; plain sentences
};

Verdict judge(const JudgedRun& run);

/// What a listener would say about each segment's delay. `sourceStartSeconds` is when frame 0 of the source
/// was put in, on the time line of the recordings; the player must not have paused since.
std::vector<HeardLatency> heardLatencies(const StreamResult& stream, double sourceStartSeconds);

/// "gap", "skip", "repeat" or "corruption".
const char* nameOf(BreakKind kind);

/// True when every frame of the recording that is not silent equals the source.
bool bitIdentical(const StreamResult& stream);

} // namespace orbctl
