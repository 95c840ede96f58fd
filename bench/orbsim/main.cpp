// SPDX-License-Identifier: MIT
// Runs the service in drawn worlds, in virtual time, and looks whether its rules hold.
#include "bench/orbsim/Campaign.h"
#include "bench/orbsim/drawWorld.h"
#include "bench/orbsim/recordedWorld.h"

#include "ORBRouteService/log/flight/FlightRecording.h"

#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <optional>
#include <string>
#include <thread>

int main(int argc, char** argv) {
    CLI::App app("Runs the service in drawn worlds, in virtual time, and looks whether its rules hold.");
    orbsim::CampaignOptions options;
    options.jobs = std::max(1U, std::thread::hardware_concurrency());
    std::optional<std::uint64_t> seed;
    std::optional<std::string> worldFile;
    std::optional<std::string> recording;
    auto* seeds = app.add_option("--seeds", options.count, "So many worlds, from the first seed on");
    app.add_option("--first", options.first, "The first seed")->capture_default_str();
    app.add_option("--jobs", options.jobs, "Processes side by side")->check(CLI::Range(1, 256));
    app.add_option("--output", options.output, "Where worlds that fail are kept")->capture_default_str();
    auto* one = app.add_option("--seed", seed, "One world, and what happens in it")->excludes(seeds);
    app.add_option("--world", worldFile, "The world of this file instead of a drawn one")->excludes(seeds);
    app.add_option("--recording", recording, "What was done to the recorded service of this file, again")
        ->excludes(seeds)
        ->excludes(one);
    CLI11_PARSE(app, argc, argv);
    try {
        if (recording) {
            orbsim::narrate(
                orbsim::recordedWorld(orb::controlEvents(orb::FlightRecording::read(*recording))));
        }
        if (worldFile || seed) {
            orbsim::narrate(worldFile ? orbsim::World::read(*worldFile) : orbsim::drawWorld(*seed));
        }
        return orbsim::runCampaign(options);
    } catch (const std::exception& error) {
        fmt::print(stderr, "orbsim: {}\n", error.what());
        return 2;
    }
}
