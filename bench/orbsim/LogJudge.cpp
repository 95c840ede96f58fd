// SPDX-License-Identifier: MIT
#include "bench/orbsim/LogJudge.h"

#include "ORBRouteService/audio/SilenceWatch.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>

namespace orbsim {
namespace {

/// For whoever looks for what broke a rule. So few that they are long full when memory is compared.
constexpr std::size_t linesKept = 40;

/// Between a cause and what is done about it: timers are late, and messages take turns.
constexpr double soon = 0.3;

/// Of the tap's IO that ended until the session does.
constexpr double sessionDebounce = 15;

/// What may fail since the world is as it is.
constexpr std::array expectedFailures{
    std::string_view("Device reconnction failed with error "),
    std::string_view("ORBMirrorDevice: a latency of "),
    std::string_view("ORBManager: a render latency of "),
    std::string_view("ORBRouteService - Failed to set up remote port error="),
    std::string_view("LMNDeviceManager: cannot restore a device: "),
    std::string_view("a sender was turned away"),
    std::string_view("the connection of process "), // who died within a message
    std::string_view("of a message unsent"),
};

bool contains(std::string_view text, std::string_view part) { return text.find(part) != text.npos; }

/// What stands in `text` between two marks.
std::optional<std::string_view> between(std::string_view text, std::string_view before,
                                        std::string_view after) {
    const auto begin = text.find(before);
    if (begin == text.npos) {
        return std::nullopt;
    }
    const auto from = begin + before.size();
    const auto end = text.find(after, from);
    return end == text.npos ? std::nullopt : std::optional(text.substr(from, end - from));
}

} // namespace

void LogJudge::write(lmn::LMNLogLevel level, std::string_view text) noexcept {
    lastLines_.push_back(fmt::format("{:10.4f} {} {}", verdict_.now(), level, text));
    if (lastLines_.size() > linesKept) {
        lastLines_.pop_front();
    }
    read(level, text);
}

void LogJudge::read(lmn::LMNLogLevel level, std::string_view text) {
    if (level == 4) {
        judgeFailure(text);
    } else if (contains(text, "<ORBMirrorDevice ")) {
        readMirrorLine(text);
    } else if (contains(text, "ORBMirrorDevice init: ")) {
        mirrors_.clear(); // a new one may be called like one that has gone
    } else if (contains(text, "Updating render device configuration")) {
        judgeRebuild();
    } else if (contains(text, "AVOutputContext devices changed")) {
        for (auto& [description, mirror] : mirrors_) {
            mirror.devicesChanged = true;
        }
    } else if (contains(text, "stopping session after debounce") || contains(text, "didStopIO")) {
        lastSessionEnd_ = verdict_.now();
    } else if (contains(text, "Reconnecting to ")) {
        ++reconnections_;
        lastRequest_ = verdict_.now();
    } else if (contains(text, "Password entry shown")) {
        lastPrompt_ = verdict_.now();
    } else if (contains(text, "message send timed out")) {
        ++lostMessages_;
    } else if (const auto output = between(text, "Connected to <", "> AVOutputDevice volume=")) {
        handedOver_.insert(fmt::format("<{}>", *output));
    } else if (contains(text, " volume sync ")) {
        countVolumeCopy();
    }
}

void LogJudge::readMirrorLine(std::string_view line) {
    const auto description = between(line, "<ORBMirrorDevice ", ">");
    if (!description) {
        return;
    }
    Mirror& mirror = mirrors_[std::string(*description)];
    if (const auto reason = between(line, "reason: ", ")\n")) {
        judgeReset(mirror, *reason);
    } else if (contains(line, "New device added - forcing resync") || contains(line, "runner started")) {
        mirror.wantsResync = true;
    }
}

void LogJudge::judgeRebuild() {
    lastRebuild_ = verdict_.now();
    wasRebuiltDuringPlay_ |= isPlaying_;
    if (lastRebuild_ - lastSettings_ > soon) {
        verdict_.fail("reset", "the renderer was rebuilt without a cause");
    }
    sound_.rendererWasReset(latency_); // by a new one in its place
}

void LogJudge::judgeReset(Mirror& mirror, std::string_view reason) {
    if (!isAllowed(mirror, reason)) {
        verdict_.fail("reset", fmt::format("the renderer was reset without a cause: {}", reason));
    }
    sound_.rendererWasReset(latency_);
}

bool LogJudge::isAllowed(Mirror& mirror, std::string_view reason) const {
    const double now = verdict_.now();
    if (reason == "contextDevice.isMuted changed") {
        return now - lastMute_ <= soon;
    }
    if (reason == "activeProcesses became empty") {
        return !isPlaying_;
    }
    if (reason == "setting target devices") {
        return now - std::max(lastRequest_, lastRebuild_) <= soon;
    }
    if (reason == "startup warmup begin") {
        return std::exchange(mirror.devicesChanged, false);
    }
    if (reason == "sessionRunnerDidStop") {
        return now - std::max(lastSessionEnd_, lastRebuild_) <= sessionDebounce;
    }
    if (reason.starts_with("resync: needsResync=true")) {
        return std::exchange(mirror.wantsResync, false);
    }
    if (reason.starts_with("silent stop: ")) {
        const auto silent = between(std::string(reason) + ")", "silentSeconds=", ")");
        double seconds = 0;
        std::from_chars(silent->data(), silent->data() + silent->size(), seconds);
        return contains(reason, "silentAndStopped=true") ? userHasPaused_
                                                         : seconds > orb::SilenceWatch::stopThreshold;
    }
    return reason == "resync: needsResync=false, rate=0.0" || reason.starts_with("received signal") ||
           reason == "parent process disconnected" || reason == "failed to set up remote port";
}

void LogJudge::judgeFailure(std::string_view text) {
    if (std::ranges::none_of(expectedFailures, [&](auto part) { return contains(text, part); })) {
        verdict_.fail("failure", std::string(text));
    }
}

void LogJudge::countVolumeCopy() {
    if (volumeCopies_ == 0) {
        verdict_.fail("volume", "volumes are copied to and fro");
    } else {
        --volumeCopies_;
    }
}

} // namespace orbsim
