// SPDX-License-Identifier: MIT
#include "orbctl/commands/PlayDisplay.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <boost/json/serialize.hpp>

#include <algorithm>
#include <cmath>
#include <utility>

namespace orbctl {
namespace {

constexpr double silence = -120; // dB

/// Calls of `progress` between two of its lines, where they are not overwritten.
constexpr int ticksPerEvent = 2;
constexpr int ticksPerLine = 20;

std::string failureText(const JobFailure& failure) {
    return fmt::format("{}{}{}{}", failure.text,
                       failure.code ? fmt::format(" (error {})", *failure.code) : std::string(),
                       failure.advice.empty() ? "" : "; ", failure.advice);
}

std::string stateText(const std::vector<std::unique_ptr<Job>>& jobs) {
    std::vector<std::string> texts;
    texts.reserve(jobs.size());
    for (const auto& job : jobs) {
        texts.push_back(fmt::format("{} {}", job->target().name, nameOf(job->state())));
    }
    return fmt::format("{}", fmt::join(texts, ", "));
}

} // namespace

void PlayDisplay::jobChanged(const Job& job) {
    const auto& failure = job.failure();
    if (failure) {
        console_.fail(fmt::format("{}: {}", job.target().name, failureText(*failure)));
    } else if (form_ == Form::text) {
        console_.say(fmt::format("{}: {}", job.target().name, nameOf(job.state())));
    }
    boost::json::object details{
        {"to", job.target().name}, {"state", nameOf(job.state())}, {"device", job.deviceUID()}};
    if (failure) {
        details["error"] = failure->text;
        details["advice"] = failure->advice;
        if (failure->code) {
            details["code"] = *failure->code;
        }
    }
    event("state", std::move(details));
}

void PlayDisplay::progress(const PlayerFigures& figures, double total,
                           const std::vector<std::unique_ptr<Job>>& jobs) {
    const std::string line = fmt::format("{}{}  {:.1f} dB  {}  {:.1f} s buffered", clockText(figures.heard),
                                         total > 0 ? fmt::format(" of {}", clockText(total)) : std::string(),
                                         decibels(figures.peak), stateText(jobs), figures.buffered);
    console_.progress(line);
    ++ticks_;
    if (form_ == Form::text && !console_.isTerminal() && ticks_ % ticksPerLine == 0) {
        console_.say(line);
    }
    if (ticks_ % ticksPerEvent == 0) {
        event("progress", {{"heard", figures.heard},
                           {"total", total},
                           {"level", decibels(figures.peak)},
                           {"buffered", figures.buffered}});
    }
}

void PlayDisplay::ended(int status, std::optional<double> heard,
                        const std::vector<std::unique_ptr<Job>>& jobs) {
    std::vector<std::string> names;
    for (const auto& job : jobs) {
        if (!job->failure()) {
            names.push_back(job->wasInterrupted() ? fmt::format("{} (not all the time)", job->target().name)
                                                  : job->target().name);
        }
    }
    if (form_ == Form::text && heard && !names.empty()) {
        console_.result(fmt::format("played {} to {}{}", clockText(*heard), fmt::join(names, ", "),
                                    status == interruptedStatus ? ", then interrupted" : ""));
    }
    event("end", {{"status", status}, {"heard", heard.value_or(0)}});
}

void PlayDisplay::event(const char* name, boost::json::object details) {
    if (form_ == Form::json) {
        boost::json::object line{{"event", name}};
        line.insert(details.begin(), details.end());
        console_.result(boost::json::serialize(line));
    }
}

std::string clockText(double seconds) {
    const auto whole = std::llround(std::floor(seconds));
    return whole < 3600 ? fmt::format("{}:{:02}", whole / 60, whole % 60)
                        : fmt::format("{}:{:02}:{:02}", whole / 3600, whole / 60 % 60, whole % 60);
}

double decibels(double peak) { return peak > 0 ? std::max(20 * std::log10(peak), silence) : silence; }

} // namespace orbctl
