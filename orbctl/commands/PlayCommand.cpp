// SPDX-License-Identifier: MIT
#include "orbctl/commands/Commands.h"
#include "orbctl/commands/PlaySession.h"
#include "orbctl/job/UsageError.h"

#include "platform/airplay/embedded/ReceiversFile.h"

#include <fmt/format.h>
#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace orbctl {
namespace {

constexpr double greatestLatency = 30; // s

constexpr const char* footer =
    R"(The files are played one after the other. "-" is standard input: a WAV or AU stream of 44100 Hz.

Each --to is a job of its own, with its own device and its own service process; all are fed from the same
sound. A NAME is that of a receiver, of its row in the picker, or its identifier (orbctl receivers). A group
is played to as a whole.

A receiver that asks for a password or code has it asked for at the terminal, unseen, unless its entry in the
receivers file has answers.)";

dispatch::Task<int> play(ParentPlatform& platform, Console& console, PlayOptions options,
                         std::vector<ReportData>& reports) {
    PlaySession session(platform, console, std::move(options));
    const int status = co_await session.run();
    reports = session.reports();
    co_return status;
}

/// Of several jobs each has a page of its own: "out.html", "out.2.html", ...
std::filesystem::path pageOf(const std::filesystem::path& path, std::size_t index) {
    const std::string number = index == 0 ? "" : fmt::format(".{}", index + 1);
    return path.parent_path() /
           fmt::format("{}{}{}", path.stem().string(), number, path.extension().string());
}

/// Writes the pages; the status of the command if the sound was played.
int report(Console& console, const PlayOptions& options, const std::vector<ReportData>& reports) {
    int status = EXIT_SUCCESS;
    for (std::size_t i = 0; i < reports.size(); ++i) {
        const std::filesystem::path page = pageOf(*options.report, i);
        const ReportSummary summary = writeReport(reports[i], page);
        console.result(options.json
                           ? boost::json::serialize(boost::json::object{{"event", "report"},
                                                                        {"page", page.string()},
                                                                        {"perfect", summary.isPerfect},
                                                                        {"text", summary.headline}})
                           : fmt::format("{} ({})", summary.headline, page.string()));
        status = summary.isPerfect ? status : EXIT_FAILURE;
    }
    return status;
}

int run(Console& console, const PlayOptions& options) {
    if (options.files.size() > 1 && std::ranges::find(options.files, "-") != options.files.end()) {
        throw UsageError("standard input (-) is played alone");
    }
    std::vector<ReportData> reports;
    int status =
        onParentPlatform([&](ParentPlatform& platform) { return play(platform, console, options, reports); });
    if (options.report) {
        status = std::max(status, report(console, options, reports));
    }
    if (options.readsStandardInput()) {
        std::_Exit(status); // a thread may still wait for input, and there is no way to end it
    }
    return status;
}

} // namespace

void addPlay(CLI::App& app, Action& action) {
    const auto options = std::make_shared<PlayOptions>();
    options->receiversFile = airplay::ReceiversFile::standardPath();
    options->service = ServiceProcess::standardProgram();
    CLI::App& command = *app.add_subcommand("play", "Play sound files on receivers");
    command.footer(footer);
    command.add_option("FILE", options->files, "Sound files, or - for standard input")->required();
    command.add_option("--to", options->targets, "A receiver or group; may be given several times")
        ->required()
        ->allow_extra_args(false);
    command
        .add_option("--latency", options->latency,
                    "Render latency in seconds (for all services, put back at the end)")
        ->check(CLI::Range(0.0, greatestLatency));
    command.add_option("--volume", options->volume, "Volume of the receivers, 0 to 1")
        ->check(CLI::Range(0.0, 1.0));
    command.add_flag("--grouped", options->grouped, "Use the context for groups, whatever the receiver says");
    command.add_option("--report", options->report,
                       "Write a page about what was heard to this HTML file; of further jobs beside it");
    command.add_option("--receivers", options->receiversFile, "Receivers file")->capture_default_str();
    command.add_option("--service", options->service, "Program of the service")->capture_default_str();
    command.add_option("--log", options->log, "Append all that the services say to this file");
    command.add_flag("--json", options->json, "One JSON object for each event, on standard output");
    command.callback(
        [options, &action] { action = [options](Console& console) { return run(console, *options); }; });
}

} // namespace orbctl
