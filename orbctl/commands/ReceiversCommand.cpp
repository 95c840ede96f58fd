// SPDX-License-Identifier: MIT
#include "orbctl/commands/Commands.h"
#include "orbctl/job/ParentPlatform.h"
#include "orbctl/job/ReceiverList.h"

#include "platform/airplay/embedded/ReceiversFile.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>
#include <boost/json/value_from.hpp>

#include <algorithm>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

namespace orbctl {
namespace {

struct Options {
    std::filesystem::path file = airplay::ReceiversFile::standardPath();
    bool json = false;
};

const char* secretOf(const Target& target) {
    if (!target.asksFor) {
        return "nothing";
    }
    return *target.asksFor == airplay::SecretKind::password ? "a password" : "a code";
}

std::vector<std::string> namesOf(const Target& target) {
    std::vector<std::string> names;
    std::ranges::transform(target.rooms, std::back_inserter(names), &Room::name);
    return names;
}

boost::json::object jsonOf(const Target& target, double volume) {
    boost::json::object object{{"name", target.name},
                               {"id", target.identifier},
                               {"receivers", boost::json::value_from(namesOf(target))},
                               {"volume", volume},
                               {"asksFor", secretOf(target)}};
    if (target.group) {
        object["group"] = *target.group;
    }
    return object;
}

dispatch::Task<int> list(ParentPlatform& platform, Console& console, Options options) {
    const ReceiverList receivers(options.file);
    for (const Target& target : receivers.targets()) {
        const auto device = target.findDevice(platform.deviceManager());
        const double volume = device ? device->volume().get() : target.knob;
        if (options.json) {
            console.result(boost::json::serialize(jsonOf(target, volume)));
        } else {
            console.result(fmt::format("{:24} {}  volume {:.2f}  asks for {}{}", target.name,
                                       target.identifier, volume, secretOf(target),
                                       target.rooms.size() > 1
                                           ? fmt::format("  group of {}", fmt::join(namesOf(target), ", "))
                                           : std::string()));
        }
    }
    co_return playedStatus;
}

} // namespace

void addReceivers(CLI::App& app, Action& action) {
    const auto options = std::make_shared<Options>();
    CLI::App& command = *app.add_subcommand("receivers", "List what can be played to");
    command.add_option("--receivers", options->file, "Receivers file")->capture_default_str();
    command.add_flag("--json", options->json, "One JSON object for each");
    command.callback([options, &action] {
        action = [options](Console& console) {
            return onParentPlatform(
                [&](ParentPlatform& platform) { return list(platform, console, *options); });
        };
    });
}

} // namespace orbctl
