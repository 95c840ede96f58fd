// SPDX-License-Identifier: MIT
#include "orbctl/commands/FlightTimeline.h"

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <boost/json/array.hpp>

#include <algorithm>
#include <array>
#include <chrono>
#include <ctime>
#include <utility>

namespace orbctl {
namespace {

namespace json = boost::json;
using orb::FlightKind;
using orb::FlightRecord;

std::string dateText(dispatch::Date date) {
    const auto seconds = std::chrono::floor<std::chrono::seconds>(date);
    const auto micros = std::chrono::duration_cast<std::chrono::microseconds>(date - seconds).count();
    const std::time_t time = seconds.time_since_epoch().count();
    return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:06}Z", fmt::gmtime(time), micros);
}

bool isMessage(const FlightRecord& record) {
    return record.kind == FlightKind::messageReceived || record.kind == FlightKind::messageSent;
}

/// The kind that the devices of a message have.
FlightKind deviceKind(const FlightRecord& message) {
    return message.kind == FlightKind::messageSent ? FlightKind::deviceSent : FlightKind::deviceReceived;
}

/// What messages that belong together show alike.
std::string requestText(std::uint64_t request) { return fmt::format("#{:08X}", request >> 32); }

std::string messageText(const FlightLine& line) {
    const FlightRecord& record = *line.record;
    std::string text = fmt::format("{} {} {}", record.kind == FlightKind::messageSent ? "sent" : "received",
                                   record.subject, requestText(record.request));
    if (line.afterRequest)
        text += fmt::format(", {:.3f} s after it was asked for", dispatch::toSeconds(*line.afterRequest));
    if (!record.text.empty())
        text += ": " + record.text;
    if (record.numbers[2] != 0)
        text += ", NOT SENT";
    for (const FlightLine::Device& device : line.devices)
        text += fmt::format("  {} ({})", device.name.empty() ? "?" : device.name, device.uid);
    return text;
}

/// What is said of a record that is no message: {s} is its subject, {t} its text, {a} to {c} are its numbers,
/// {A} to {C} the same as on or off.
struct Sentence {
    FlightKind kind;
    const char* format;
};

constexpr std::array sentences{
    Sentence{FlightKind::deviceReceived, "device of a message: {t} ({s})"},
    Sentence{FlightKind::deviceSent, "device of a message: {t} ({s})"},
    Sentence{FlightKind::notice, "notice {s}"},
    Sentence{FlightKind::settings,
             "settings: latency {a} s, prioritize-sync {B}, legacy-grouped-airplay {C}"},
    Sentence{FlightKind::launched, "launched by process {a:.0f} for {t} ({s}), grouped {B}"},
    Sentence{FlightKind::terminated, "terminates with status {a:.0f}: {t}"},
    Sentence{FlightKind::updateBegan, "update begins, devices wanted: {a:.0f}"},
    Sentence{FlightKind::updateEnded, "update has ended: {t}"},
    Sentence{FlightKind::confirmation, "connecting {s}: {t}"},
    Sentence{FlightKind::outputJoined, "receiver {t} ({s}) has joined"},
    Sentence{FlightKind::outputLeft, "receiver {t} ({s}) has left"},
    Sentence{FlightKind::volumeToOutput, "volume of {s} goes to receiver {t}: {b:.3f}, was {a:.3f}"},
    Sentence{FlightKind::volumeFromOutput, "volume of receiver {t} goes to {s}: {b:.3f}, was {a:.3f}"},
    Sentence{FlightKind::nowPlaying, "now playing {A}"},
    Sentence{FlightKind::mirrorRebuilt, "mirror device made for {s}, latency {a} s"},
    Sentence{FlightKind::running, "running {A}"},
    Sentence{FlightKind::players, "players: {a:.0f}"},
    Sentence{FlightKind::ioBegan, "IO begins"},
    Sentence{FlightKind::ioEnded, "IO has ended"},
    Sentence{FlightKind::sessionBegan, "session begins"},
    Sentence{FlightKind::sessionEnded, "session has ended"},
    Sentence{FlightKind::reset, "reset, flush {A}: {t}"},
    Sentence{FlightKind::clock, "clock at {s}: media time {a:.6f} s, rate {b}, start latency {c:.3f} s"},
    Sentence{FlightKind::log, "log: {t}"},
};

const char* onOff(double number) { return number != 0 ? "on" : "off"; }

std::string sentenceOf(const FlightLine& line) {
    const FlightRecord& record = *line.record;
    if (isMessage(record))
        return messageText(line);
    const auto sentence = std::ranges::find(sentences, record.kind, &Sentence::kind);
    const auto& [first, second, third] = record.numbers;
    return fmt::format(fmt::runtime(sentence->format), fmt::arg("s", record.subject),
                       fmt::arg("t", record.text), fmt::arg("a", first), fmt::arg("b", second),
                       fmt::arg("c", third), fmt::arg("A", onOff(first)), fmt::arg("B", onOff(second)),
                       fmt::arg("C", onOff(third)));
}

} // namespace

FlightTimeline::FlightTimeline(const orb::FlightRecording& recording) : recording_(recording) {
    std::ranges::for_each(recording.records, [this](const FlightRecord& record) { add(record); });
}

void FlightTimeline::add(const FlightRecord& record) {
    if (record.kind == FlightKind::deviceReceived || record.kind == FlightKind::deviceSent) {
        addDevice(record);
        return;
    }
    FlightLine line{.record = &record};
    if (record.kind == FlightKind::messageReceived) {
        requests_[record.request] = record.time;
    } else if (record.kind == FlightKind::messageSent) {
        if (const auto request = requests_.find(record.request); request != requests_.end())
            line.afterRequest = record.time - request->second;
    }
    if (isMessage(record))
        lastMessages_[{deviceKind(record), record.request}] = lines_.size();
    lines_.push_back(std::move(line));
}

/// Others may have recorded between a message and its devices. A message that was overwritten leaves devices
/// that stand alone.
void FlightTimeline::addDevice(const FlightRecord& device) {
    const auto message = lastMessages_.find({device.kind, device.request});
    if (message != lastMessages_.end())
        lines_[message->second].devices.push_back({device.subject, device.text});
    else
        lines_.push_back({.record = &device});
}

double FlightTimeline::secondsOf(const FlightRecord& record) const {
    return dispatch::toSeconds(record.time - recording_.records.front().time);
}

std::string FlightTimeline::title() const {
    std::string title = fmt::format("process {}, {} records", recording_.process, recording_.records.size());
    if (!recording_.records.empty()) {
        title += fmt::format(", from {} to {}", dateText(recording_.dateOf(recording_.records.front().time)),
                             dateText(recording_.dateOf(recording_.records.back().time)));
    }
    if (recording_.overwritten > 0)
        title += fmt::format("; {} older ones are gone", recording_.overwritten);
    if (recording_.unreadable > 0)
        title += fmt::format("; {} cannot be read", recording_.unreadable);
    return title;
}

std::string FlightTimeline::textOf(const FlightLine& line) const {
    return fmt::format("{:13.6f}  {:16}  {}", secondsOf(*line.record), line.record->queue, sentenceOf(line));
}

json::object FlightTimeline::jsonOf(const FlightLine& line) const {
    const FlightRecord& record = *line.record;
    json::object object{{"seconds", secondsOf(record)},
                        {"date", dateText(recording_.dateOf(record.time))},
                        {"queue", record.queue},
                        {"kind", orb::nameOf(record.kind)},
                        {"subject", record.subject},
                        {"text", record.text},
                        {"numbers", json::array(record.numbers.begin(), record.numbers.end())}};
    if (record.request != 0)
        object["request"] = requestText(record.request);
    if (isMessage(record)) {
        json::array& devices = object["devices"].emplace_array();
        for (const FlightLine::Device& device : line.devices)
            devices.push_back(json::object{{"uid", device.uid}, {"name", device.name}});
    }
    return object;
}

} // namespace orbctl
