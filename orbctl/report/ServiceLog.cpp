// SPDX-License-Identifier: MIT
#include "orbctl/report/ServiceLog.h"

#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <string_view>

namespace orbctl {
namespace {

/// Of a cycle of the device, s.
constexpr double ioPeriod = 512 / 44100.0;

/// Years in which a date and any latency around it fit into nanoseconds.
constexpr int firstYear = 1970;
constexpr int lastYear = 2150;

/// The date that begins a line, as the log's writer puts it: 2026-01-31T12:34:56.123456Z, in UTC.
std::optional<dispatch::Date> dateOf(const std::string& line, std::size_t& length) {
    int year = 0;
    unsigned month = 0;
    unsigned day = 0;
    unsigned hour = 0;
    unsigned minute = 0;
    unsigned second = 0;
    unsigned micros = 0;
    int read = 0;
    if (std::sscanf(line.c_str(), "%4d-%2u-%2uT%2u:%2u:%2u.%6uZ %n", &year, &month, &day, &hour, &minute,
                    &second, &micros, &read) != 7 ||
        read == 0)
        return std::nullopt;
    const std::chrono::year_month_day date{std::chrono::year{year}, std::chrono::month{month},
                                           std::chrono::day{day}};
    if (!date.ok() || year < firstYear || year > lastYear)
        return std::nullopt;
    length = static_cast<std::size_t>(read);
    return std::chrono::sys_days{date} + std::chrono::hours{hour} + std::chrono::minutes{minute} +
           std::chrono::seconds{second} + std::chrono::microseconds{micros};
}

/// The finite number behind `label`, wherever that stands in the text.
std::optional<double> figure(std::string_view text, std::string_view label) {
    const std::size_t at = text.find(label);
    if (at == std::string_view::npos)
        return std::nullopt;
    const std::string_view rest = text.substr(at + label.size());
    double value = 0;
    const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), value);
    return error == std::errc{} && std::isfinite(value) ? std::optional(value) : std::nullopt;
}

void addFigure(std::vector<ServiceLog::Value>& series, ServiceLog::Line& line, std::string_view label) {
    if (const auto value = figure(line.text, label)) {
        series.push_back({.time = line.time, .seconds = *value});
        line.plotted = true;
    }
}

/// What is on its way is dropped by a flush, unless it was heard before.
void noteReset(ServiceLog& log, const ServiceLog::Line& line) {
    constexpr std::string_view resyncMark = "reason: resync: ";
    if (line.text.find("flush: true") != std::string::npos && log.firstChunkHeard > line.time)
        log.firstChunkHeard.reset();
    const std::size_t mark = line.text.find(resyncMark);
    if (mark == std::string::npos)
        return;
    const std::string reason = line.text.substr(mark + resyncMark.size());
    log.resynchronisations.push_back({.time = line.time, .reason = reason.substr(0, reason.rfind(')'))});
}

void noteFirstChunk(ServiceLog& log, const ServiceLog::Line& line) {
    const auto latency = figure(line.text, "startLatency=");
    const auto duration = figure(line.text, "duration=");
    if (!latency || !duration || log.firstChunkHeard)
        return;
    // The line is written in the cycle that fills the chunk, one period before the chunk's last frame is due.
    log.firstChunkHeard = line.time + dispatch::toNanoseconds(*latency - (*duration - ioPeriod));
}

void takeIn(ServiceLog& log, ServiceLog::Line& line) {
    const auto says = [&](std::string_view words) { return line.text.find(words) != std::string::npos; };
    if (says("feed chunk: ")) {
        addFigure(log.effectiveLatency, line, "effectiveLatency=");
        addFigure(log.buffered, line, "ahead=");
    } else if (says("low buffer: ")) {
        addFigure(log.buffered, line, "buffered=");
        line.plotted = false; // a warning is worth a mark of its own
    } else if (says("startup sync correction: ") || says("micro-retime: ")) {
        addFigure(log.buffered, line, "newBuffered=");
        line.plotted = says("micro-retime: ");
    } else if (says("resetRendererState(")) {
        noteReset(log, line);
    } else if (says("first chunk after resync: ")) {
        noteFirstChunk(log, line);
    } else if (const auto latency = figure(line.text, "syncLatency=")) {
        log.latency = latency;
    }
}

} // namespace

ServiceLog readServiceLog(const std::vector<std::string>& lines) {
    ServiceLog log;
    for (const std::string& text : lines) {
        std::size_t dateLength = 0;
        const auto date = dateOf(text, dateLength);
        if (!date && log.lines.empty())
            continue;
        ServiceLog::Line line{.time = date ? *date : log.lines.back().time, .level = 0, .text = text};
        if (date) {
            line.text.erase(0, dateLength);
            const auto [end, error] =
                std::from_chars(line.text.data(), line.text.data() + line.text.size(), line.level);
            if (error == std::errc{})
                line.text.erase(0, static_cast<std::size_t>(end - line.text.data()) + 1);
        }
        takeIn(log, line);
        log.lines.push_back(std::move(line));
    }
    return log;
}

} // namespace orbctl
