// SPDX-License-Identifier: MIT
#include "orbctl/commands/Commands.h"
#include "orbctl/commands/PlayDisplay.h"
#include "orbctl/job/JobBoard.h"
#include "orbctl/job/ParentPlatform.h"

#include <fmt/format.h>
#include <boost/json/serialize.hpp>

#include <map>
#include <memory>
#include <string>

namespace orbctl {
namespace {

struct Options {
    bool once = false;
    bool json = false;
};

constexpr auto interval = std::chrono::milliseconds(500);

double numberOf(const boost::json::object& job, const char* key) {
    const boost::json::value* value = job.if_contains(key);
    return value != nullptr && value->is_number() ? value->to_number<double>() : 0;
}

std::string textOf(const boost::json::object& job, const char* key) {
    const boost::json::value* value = job.if_contains(key);
    return value != nullptr && value->is_string() ? std::string(value->get_string()) : "?";
}

std::string lineOf(const boost::json::object& job) {
    return fmt::format("{}: {}  {} of {}  {:.1f} dB  {:.1f} s buffered  {}", textOf(job, "to"),
                       textOf(job, "state"), clockText(numberOf(job, "heard")),
                       clockText(numberOf(job, "total")), numberOf(job, "level"), numberOf(job, "buffered"),
                       textOf(job, "title"));
}

/// Each job when it differs from what was shown before.
dispatch::Task<int> watch(ParentPlatform& platform, Console& console, Options options) {
    const JobBoard board(platform.runtimeDirectory());
    std::map<std::string, boost::json::object> shown;
    while (true) {
        std::map<std::string, boost::json::object> now;
        for (boost::json::object& job : board.jobs()) {
            now.emplace(textOf(job, "device"), std::move(job));
        }
        for (const auto& [device, job] : now) {
            if (!shown.contains(device) || shown.at(device) != job) {
                console.result(options.json ? boost::json::serialize(job) : lineOf(job));
            }
        }
        for (const auto& [device, job] : shown) {
            if (!now.contains(device)) {
                const boost::json::object gone{
                    {"device", device}, {"to", textOf(job, "to")}, {"state", "ended"}};
                console.result(options.json ? boost::json::serialize(gone)
                                            : fmt::format("{}: ended", textOf(job, "to")));
            }
        }
        shown = std::move(now);
        if (options.once) {
            co_return playedStatus;
        }
        co_await dispatch::sleepFor(interval);
    }
}

} // namespace

void addWatch(CLI::App& app, Action& action) {
    const auto options = std::make_shared<Options>();
    CLI::App& command = *app.add_subcommand("watch", "Follow the running jobs of all orbctl processes");
    command.footer(
        "Ends with Ctrl-C, or with --once after what there is now. Standard output has a line for "
        "each job\nwhenever something about it has changed.");
    command.add_flag("--once", options->once, "Only what there is now");
    command.add_flag("--json", options->json, "One JSON object for each");
    command.callback([options, &action] {
        action = [options](Console& console) {
            return onParentPlatform(
                [&](ParentPlatform& platform) { return watch(platform, console, *options); });
        };
    });
}

} // namespace orbctl
