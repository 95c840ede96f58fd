// SPDX-License-Identifier: MIT
#pragma once

#include "bench/mirrorlab/Report.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace mirrorlab {

/// What a run is asked to do.
struct LabOptions {
    std::vector<std::filesystem::path> soundFiles;
    std::optional<double> atLeastSeconds;
    std::optional<double> durationSeconds;
    RunMode mode = RunMode::realTime;
    std::optional<std::filesystem::path> receiversFile; // none: two receivers in `output`
    std::filesystem::path output = "mirrorlab-output";  // log, recordings of the built-in receivers
    std::optional<double> latencySeconds;               // none: the registered default
    bool prioritizeSync = false;
    double worstWakeDelaySeconds = 0;                // injected late wake-ups: none
    std::uint64_t seed = 1;                          // of the injected delays
    std::optional<std::filesystem::path> jsonReport; // "-" is standard output
    std::optional<std::filesystem::path> report;     // a page for people
    std::optional<std::filesystem::path> journal; // of what happened, without what differs between two runs
    bool keepRecordings = true;                   // false in virtual time unless asked for
};

/// What the player process is asked to do.
struct PlayOptions {
    std::vector<std::filesystem::path> soundFiles;
    std::optional<double> atLeastSeconds;
    std::optional<double> durationSeconds;
    std::filesystem::path socket;
    double tailSeconds = 0; // of silence behind the sound
};

} // namespace mirrorlab
