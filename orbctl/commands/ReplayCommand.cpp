// SPDX-License-Identifier: MIT
#include "orbctl/commands/Commands.h"
#include "orbctl/commands/FlightTimeline.h"

#include <boost/json/serialize.hpp>

#include <filesystem>
#include <memory>

namespace orbctl {
namespace {

struct Options {
    std::filesystem::path file;
    bool json = false;
};

int replay(Console& console, const Options& options) {
    const orb::FlightRecording recording = orb::FlightRecording::read(options.file);
    const FlightTimeline timeline(recording);
    console.say(timeline.title());
    for (const FlightLine& line : timeline.lines()) {
        console.result(options.json ? boost::json::serialize(timeline.jsonOf(line)) : timeline.textOf(line));
    }
    return playedStatus;
}

} // namespace

void addReplay(CLI::App& app, Action& action) {
    const auto options = std::make_shared<Options>();
    CLI::App& command = *app.add_subcommand("replay", "Show the time line of a flight recording");
    command.footer(
        "Each line: seconds since the first one, the queue, what happened. A request and its answer have "
        "the\n"
        "same number behind a #.");
    command.add_option("file", options->file, "Recording: a .flight or .ring file")->required();
    command.add_flag("--json", options->json, "One JSON object for each line");
    command.callback(
        [options, &action] { action = [options](Console& console) { return replay(console, *options); }; });
}

} // namespace orbctl
