// SPDX-License-Identifier: MIT
#include "orbctl/commands/Commands.h"
#include "orbctl/job/ParentPlatform.h"

#include <fmt/format.h>
#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>

#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <string_view>

namespace orbctl {
namespace {

struct Options {
    std::string key;
    std::string value;
    bool json = false;
};

constexpr const char* footer =
    R"(Keys:
  latency, _renderLatency                         seconds, 0 to 30: by how much rendering runs behind capture
  prioritize-sync, prioritizeSync                 true or false: retime the render time line all the time
  legacy-grouped-airplay, legacyGroupedAirPlay    true or false: plain AirPlay devices count as groupable

They are the same for all services of the user; services that run take a change over at once.)";

constexpr double greatestLatency = 30; // s

bool isTrue(const std::string& text) {
    if (text != "true" && text != "false") {
        throw CLI::ValidationError("VALUE", text + " is neither true nor false");
    }
    return text == "true";
}

double latencyOf(const std::string& text) {
    double latency = 0;
    if (!CLI::detail::lexical_cast(text, latency) || !(latency >= 0 && latency <= greatestLatency)) {
        throw CLI::ValidationError("VALUE",
                                   fmt::format("{} is not within 0 to {} seconds", text, greatestLatency));
    }
    return latency;
}

/// One row of the settings: what it is called here and in the preferences, and how it is read and written.
struct Setting {
    std::string_view name;
    std::string_view key;
    boost::json::value (*get)(const orb::ORBManager& manager);
    void (*set)(orb::ORBManager& manager, const std::string& value);
};

constexpr std::array settings{
    Setting{"latency", "_renderLatency",
            [](const orb::ORBManager& manager) { return boost::json::value(manager.renderLatency()); },
            [](orb::ORBManager& manager, const std::string& value) {
                manager.setRenderLatency(latencyOf(value));
            }},
    Setting{
        "prioritize-sync", "prioritizeSync",
        [](const orb::ORBManager& manager) { return boost::json::value(manager.prioritizeSync()); },
        [](orb::ORBManager& manager, const std::string& value) { manager.setPrioritizeSync(isTrue(value)); }},
    Setting{"legacy-grouped-airplay", "legacyGroupedAirPlay",
            [](const orb::ORBManager& manager) { return boost::json::value(manager.legacyGroupedAirPlay()); },
            [](orb::ORBManager& manager, const std::string& value) {
                manager.setLegacyGroupedAirPlay(isTrue(value));
            }},
};

std::string textOf(const boost::json::value& value) {
    return value.is_double() ? fmt::format("{}", value.get_double()) : boost::json::serialize(value);
}

const Setting& settingCalled(const std::string& key) {
    const auto found = std::ranges::find_if(
        settings, [&](const Setting& setting) { return setting.name == key || setting.key == key; });
    if (found == settings.end()) {
        throw CLI::ValidationError("KEY",
                                   key + " is none of: latency, prioritize-sync, legacy-grouped-airplay");
    }
    return *found;
}

void showAll(const orb::ORBManager& manager, Console& console, bool json) {
    boost::json::object object;
    for (const Setting& setting : settings) {
        object[setting.name] = setting.get(manager);
        if (!json) {
            console.result(fmt::format("{:24} {}", setting.name, textOf(setting.get(manager))));
        }
    }
    if (json) {
        console.result(boost::json::serialize(object));
    }
}

/// A setting that is lost with this process was not changed.
int statusOf(const ParentPlatform& platform) {
    return platform.settingsAreSaved() ? playedStatus : refusedStatus;
}

dispatch::Task<int> change(ParentPlatform& platform, Console& console, Options options) {
    if (options.key.empty()) {
        showAll(platform.manager(), console, options.json);
        co_return playedStatus;
    }
    const Setting& setting = settingCalled(options.key);
    if (!options.value.empty()) {
        setting.set(platform.manager(), options.value);
    }
    const boost::json::value value = setting.get(platform.manager());
    boost::json::object object;
    object[setting.name] = value;
    console.result(options.json ? boost::json::serialize(object) : textOf(value));
    co_return statusOf(platform);
}

dispatch::Task<int> reset(ParentPlatform& platform, Console& console, Options options) {
    platform.manager().resetDefaults();
    showAll(platform.manager(), console, options.json);
    co_return statusOf(platform);
}

template <typename Work>
void addCommand(CLI::App& command, const std::shared_ptr<Options>& options, Action& action, Work work) {
    command.add_flag("--json", options->json, "As a JSON object");
    command.callback([options, work, &action] {
        action = [options, work](Console& console) {
            return onParentPlatform(
                [&](ParentPlatform& platform) { return work(platform, console, *options); });
        };
    });
}

} // namespace

void addSettings(CLI::App& app, Action& action) {
    const auto options = std::make_shared<Options>();
    CLI::App& command = *app.add_subcommand("settings", "Show or change the settings of all services");
    command.footer(footer);
    command.add_option("KEY", options->key, "Which; without it, all are shown");
    command.add_option("VALUE", options->value, "What it is from now on");
    addCommand(command, options, action, change);
}

void addResetSettings(CLI::App& app, Action& action) {
    CLI::App& command = *app.add_subcommand("reset-settings", "Put every setting back to its default");
    addCommand(command, std::make_shared<Options>(), action, reset);
}

} // namespace orbctl
