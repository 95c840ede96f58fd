// SPDX-License-Identifier: MIT
#include "orbctl/commands/Commands.h"
#include "orbctl/job/ParentPlatform.h"
#include "orbctl/job/ReceiverList.h"

#include "platform/airplay/embedded/ReceiversFile.h"

#include <fmt/format.h>
#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>

#include <memory>
#include <string>
#include <vector>

namespace orbctl {
namespace {

struct Options {
    std::string change; // "", "mute", "unmute", or a volume
    std::vector<std::string> targets;
    std::filesystem::path file = airplay::ReceiversFile::standardPath();
    bool json = false;
};

constexpr const char* footer =
    R"(The volume is that of the virtual device that stands for a receiver: while something plays there, the
receiver's own knob follows, and turning that knob shows here. A receiver that joins with a volume of its own
keeps it; to set one from the beginning, use orbctl play --volume.)";

/// "" when it is one.
std::string judgeChange(const std::string& text) {
    double volume = 0;
    const bool isNumber = CLI::detail::lexical_cast(text, volume) && volume >= 0 && volume <= 1;
    return isNumber || text == "mute" || text == "unmute" ? ""
                                                          : text +
                                                                " is neither a volume from 0 to 1, nor "
                                                                "mute or unmute";
}

void applyTo(const std::string& change, lmn::LMNDevice& device) {
    if (change == "mute" || change == "unmute") {
        device.setMuted(change == "mute");
    } else if (!change.empty()) {
        device.setVolume(std::stod(change));
    }
}

void show(const Target& target, lmn::LMNDevice& device, Console& console, bool json) {
    const double volume = device.volume().get();
    const bool isMuted = device.isMuted().get();
    console.result(json ? boost::json::serialize(boost::json::object{
                              {"name", target.name}, {"volume", volume}, {"muted", isMuted}})
                        : fmt::format("{:24} {:.2f}{}", target.name, volume, isMuted ? "  muted" : ""));
}

dispatch::Task<int> change(ParentPlatform& platform, Console& console, Options options) {
    const ReceiverList receivers(options.file);
    std::vector<Target> targets;
    targets.reserve(options.targets.size());
    for (const std::string& name : options.targets) {
        targets.push_back(receivers.find(name));
    }
    for (const Target& target : options.targets.empty() ? receivers.targets() : targets) {
        const auto device = target.makeDevice(platform.deviceManager());
        applyTo(options.change, *device);
        show(target, *device, console, options.json);
    }
    co_return playedStatus;
}

} // namespace

void addVolume(CLI::App& app, Action& action) {
    const auto options = std::make_shared<Options>();
    CLI::App& command = *app.add_subcommand("volume", "Show or set how loud receivers are");
    command.footer(footer);
    command.add_option("VOLUME", options->change, "0 to 1, mute or unmute; without it, the volume is shown")
        ->check(judgeChange);
    command.add_option("--to", options->targets, "A receiver or group; without it, all")
        ->allow_extra_args(false);
    command.add_option("--receivers", options->file, "Receivers file")->capture_default_str();
    command.add_flag("--json", options->json, "One JSON object for each");
    command.callback([options, &action] {
        action = [options](Console& console) {
            return onParentPlatform(
                [&](ParentPlatform& platform) { return change(platform, console, *options); });
        };
    });
}

} // namespace orbctl
