// SPDX-License-Identifier: MIT
#pragma once

#include "bench/orbsim/World.h"

#include <cstdint>
#include <filesystem>

namespace orbsim {

struct CampaignOptions {
    std::uint64_t first = 1; // seed
    std::uint64_t count = 100;
    unsigned jobs = 1; // processes side by side
    std::filesystem::path output = "build/orbsim";
};

/// Runs a world for each seed, tells of each that fails, shrinks it and keeps it as a file. 0 when all rules
/// hold in all of them, else 1. Throws std::system_error, WorldError.
int runCampaign(const CampaignOptions& options);

/// Runs one world, telling what happens, and ends this process with the status as above.
[[noreturn]] void narrate(const World& world);

} // namespace orbsim
