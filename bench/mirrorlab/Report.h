// SPDX-License-Identifier: MIT
#pragma once

#include <boost/json/object.hpp>

#include <cstdint>
#include <string>
#include <vector>

#include "orbctl/analysis/LatencySeries.h"
#include "orbctl/analysis/Verdict.h"

namespace mirrorlab {

/// Whether the run lasted as long as the sound, or was computed as fast as possible.
enum class RunMode { realTime, virtualTime };

/// What was asked for.
struct RunParameters {
    std::vector<std::string> soundFiles;
    std::vector<std::string> notices; // about the sound files
    double durationSeconds = 0.0;     // of the sound
    RunMode mode = RunMode::realTime;
    double latencySeconds = 2.0;            // as set in the engine
    orbctl::FrameNumber chunkFrames = 8192; // rendered at once
    orbctl::FrameNumber ioFrames = 512;     // of one period of the device
};

/// Everything the bench knows about one run. A plain value of the caller.
struct Report {
    RunParameters parameters;
    std::vector<orbctl::ReceiverReport> receivers;
    orbctl::LatencySeries effectiveLatency;
    std::vector<orbctl::Resynchronisation> resynchronisations;
    std::int64_t lateCycles = 0;
    double worstLatenessSeconds = 0.0;
    std::int64_t playerUnderruns = 0;
    double speedFactor = 0.0; // seconds of sound per second of computing

    /// Late cycles are told but do not count: their lateness is not heard.
    orbctl::Verdict verdict() const {
        return orbctl::judge({.receivers = receivers,
                              .resynchronisations = resynchronisations,
                              .latencySeconds = parameters.latencySeconds});
    }

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

} // namespace mirrorlab
