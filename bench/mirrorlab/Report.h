// SPDX-License-Identifier: MIT
#pragma once

#include <boost/json/object.hpp>

#include <cstdint>
#include <string>
#include <vector>

#include "bench/mirrorlab/LatencySeries.h"
#include "bench/mirrorlab/ReceiverSetAnalysis.h"

namespace mirrorlab {

/// Whether the run lasted as long as the sound, or was computed as fast as possible.
enum class RunMode { realTime, virtualTime };

/// What was asked for.
struct RunParameters {
    std::vector<std::string> soundFiles;
    std::vector<std::string> notices; // about the sound files
    double durationSeconds = 0.0;     // of the sound
    RunMode mode = RunMode::realTime;
    double latencySeconds = 2.0;    // as set in the engine
    FrameNumber chunkFrames = 8192; // rendered at once
    FrameNumber ioFrames = 512;     // of one period of the device
};

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

/// Whether the run was perfect: every recording identical to every other, bit-identical to the source,
/// complete from its first heard frame on but for one silent jump per resynchronisation, no gap, no overlap,
/// no late buffer. Late cycles are told but do not count: their lateness is not heard.
struct Verdict {
    bool perfect = false;
    std::vector<std::string> reasons; // why not; plain sentences
};

/// Everything the bench knows about one run. A plain value of the caller.
struct Report {
    RunParameters parameters;
    std::vector<ReceiverReport> receivers;
    LatencySeries effectiveLatency;
    std::vector<Resynchronisation> resynchronisations;
    std::int64_t lateCycles = 0;
    double worstLatenessSeconds = 0.0;
    std::int64_t playerUnderruns = 0;
    double speedFactor = 0.0; // seconds of sound per second of computing

    Verdict verdict() const;

    /// For people: aligned, short, every figure with its unit.
    std::string toText() const;

    /// For programs. Frames are integers, times and latencies seconds; absent values are null.
    ///
    ///   perfect, reasons[]
    ///   parameters: soundFiles[], notices[], durationSeconds, mode ("realTime" or "virtualTime"),
    ///     latencySeconds, chunkFrames, ioFrames
    ///   speedFactor, lateCycles, worstLatenessSeconds, playerUnderruns
    ///   resynchronisations[]: timeSeconds, reason
    ///   effectiveLatency: values, min, max, mean, points[]: timeSeconds, min, max, mean
    ///   receivers[]: name, file, frames, matchedFrames, mismatchedFrames, gapFrames, unmatchedFrames,
    ///     leadingSilentFrames, tailFrames, sourceFramesLostAtStart, sourceFramesLostBetween,
    ///     sourceFramesLostAtEnd, duplicatedFrames, sourceEndReached, bitIdentical, gaps, overlaps,
    ///     lateBuffers, identicalToFirst, differingFrames, firstDifference, offsetToFirstFrames,
    ///     segmentCount, segments[]: fileFrame, sourceFrame, frames, offsetFrames
    ///     breakCount, breaks[]: kind ("gap", "skip", "repeat", "corruption"), fileFrame, fileFrames,
    ///       nonSilentFrames, sourceFrame, sourceJump, sourceFramesLost
    ///     heardLatencies[]: timeSeconds, seconds
    boost::json::object toJson() const;
};

/// What a listener would say about each segment's delay. `sourceStartSeconds` is when frame 0 of the source
/// was put in, on the time line of the recordings; the player must not have paused since.
std::vector<HeardLatency> heardLatencies(const StreamResult& stream, double sourceStartSeconds);

/// "gap", "skip", "repeat" or "corruption".
const char* nameOf(BreakKind kind);

/// True when every frame of the recording that is not silent equals the source.
bool bitIdentical(const StreamResult& stream);

} // namespace mirrorlab
