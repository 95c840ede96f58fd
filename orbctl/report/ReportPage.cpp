// SPDX-License-Identifier: MIT
#include "orbctl/report/ReportPage.h"

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <fstream>
#include <system_error>

namespace orbctl {
namespace {

/// Rows of one table; the rest is only counted.
constexpr std::size_t mostRows = 5000;

/// Log lines from this level on tell of something that went wrong.
constexpr int errorLevel = 3;

/// Breaks told of one receiver.
constexpr std::size_t mostBreaks = 100;

/// Text as HTML, in elements and in attributes.
std::string escaped(std::string_view text) {
    std::string html;
    for (const char character : text) {
        switch (character) {
            case '&':
                html += "&amp;";
                break;
            case '<':
                html += "&lt;";
                break;
            case '>':
                html += "&gt;";
                break;
            case '"':
                html += "&quot;";
                break;
            case '\'':
                html += "&#39;";
                break;
            default:
                html += character;
        }
    }
    return html;
}

std::string dateText(dispatch::Date date) {
    const auto whole = std::chrono::floor<std::chrono::seconds>(date);
    const auto millis = std::chrono::duration_cast<std::chrono::milliseconds>(date - whole).count();
    const std::time_t time =
        std::chrono::duration_cast<std::chrono::seconds>(whole.time_since_epoch()).count();
    return fmt::format("{:%Y-%m-%d %H:%M:%S}.{:03} UTC", fmt::gmtime(time), millis);
}

double seconds(FrameNumber frames) { return static_cast<double>(frames) / framesPerSecond; }

/// The verdict forgives what was lost before a receiver's first sound; a listener should know it.
FrameNumber mostLostAtStart(const ReportContents& contents) {
    FrameNumber most = 0;
    for (const ReceiverReport& receiver : contents.receivers)
        most = std::max(most, receiver.result.stream.sourceFramesLostAtStart);
    return most;
}

std::string headline(const ReportContents& contents) {
    if (contents.receivers.empty())
        return "No recording can be compared";
    if (!contents.verdict.perfect)
        return "Not what it should be";
    if (!contents.hasSource)
        return "All receivers played the same";
    const FrameNumber lost = mostLostAtStart(contents);
    return lost == 0 ? "Every receiver played exactly the source"
                     : fmt::format(
                           "Every receiver played exactly the source, but not its first {} frames ({:.3f} s)",
                           lost, seconds(lost));
}

std::string sourceText(const std::vector<std::filesystem::path>& files) {
    std::vector<std::string> names;
    names.reserve(files.size());
    for (const auto& file : files)
        names.push_back(file.filename().string());
    return fmt::format("{}", fmt::join(names, ", "));
}

void writeTop(std::ostream& out, const ReportData& data, const ReportContents& contents) {
    out << fmt::format("<h1>{}</h1>\n<p id=\"verdict\" class=\"{}\">{}</p>\n", escaped(data.title),
                       contents.verdict.perfect ? "good" : "bad", headline(contents));
    if (!contents.verdict.reasons.empty()) {
        out << "<ul id=\"reasons\">\n";
        for (const std::string& reason : contents.verdict.reasons)
            out << fmt::format("<li>{}</li>\n", escaped(reason));
        out << "</ul>\n";
    }
    out << "<dl id=\"parameters\">\n";
    const auto define = [&](std::string_view name, std::string_view value) {
        out << fmt::format("<div><dt>{}</dt><dd>{}</dd></div>\n", escaped(name), escaped(value));
    };
    if (!data.source.files.empty())
        define("source", sourceText(data.source.files));
    for (const ReportParameter& parameter : data.parameters)
        define(parameter.name, parameter.value);
    if (contents.log.latency)
        define("latency set", fmt::format("{:.3f} s", *contents.log.latency));
    out << "</dl>\n";
}

std::string offsetText(const StreamResult& stream) {
    if (stream.segments.empty())
        return "&ndash;";
    const FrameNumber offset = stream.segments.front().offset();
    return fmt::format("{} <small>({:.4f} s)</small>", offset, seconds(offset));
}

std::string againstSource(const StreamResult& stream) {
    if (stream.matchedFrames == 0)
        return "nothing found";
    if (bitIdentical(stream) && stream.breakCount == 0)
        return "identical";
    return fmt::format("{} of {} frames equal", stream.matchedFrames,
                       stream.matchedFrames + stream.mismatchedFrames());
}

std::string againstFirst(const ReceiverResult& result) {
    if (result.againstFirst.identical())
        return "identical";
    const std::string shift =
        result.offsetToFirst ? fmt::format(", {:+} frames", *result.offsetToFirst) : std::string();
    return fmt::format("{} frames differ{}", result.againstFirst.differingFrames, shift);
}

std::size_t breaksOf(const StreamResult& stream, BreakKind kind) {
    return static_cast<std::size_t>(
        std::ranges::count_if(stream.breaks, [&](const Break& record) { return record.kind == kind; }));
}

void writeReceiverRow(std::ostream& out, const ReceiverReport& receiver, bool hasSource) {
    const StreamResult& stream = receiver.result.stream;
    out << fmt::format("<tr><th scope=\"row\">{}<br><small>{}</small></th><td>{:.3f} s</td><td>{}</td>",
                       escaped(receiver.name),
                       escaped(std::filesystem::path(receiver.file).filename().string()),
                       seconds(stream.frames), againstFirst(receiver.result));
    if (hasSource)
        out << fmt::format(
            "<td>{}</td><td>{}</td><td>{}</td><td>{}</td><td>{}</td><td>{}</td><td>{}</td><td>{}</td>",
            offsetText(stream), againstSource(stream), breaksOf(stream, BreakKind::gap),
            breaksOf(stream, BreakKind::skip), breaksOf(stream, BreakKind::repeat), stream.unmatchedFrames,
            stream.sourceFramesLostAtStart, stream.sourceFramesLostAtEnd);
    out << "</tr>\n";
}

void writeBreaks(std::ostream& out, const ReceiverReport& receiver) {
    const StreamResult& stream = receiver.result.stream;
    if (stream.breaks.empty())
        return;
    out << fmt::format("<details><summary>{}: {} breaks</summary><ol>\n", escaped(receiver.name),
                       stream.breakCount);
    for (std::size_t index = 0; index < std::min(mostBreaks, stream.breaks.size()); ++index) {
        const Break& record = stream.breaks[index];
        out << fmt::format(
            "<li>{:.3f} s: {} of {} frames; the source goes on {:+} frames further, {} of "
            "its frames are lost</li>\n",
            seconds(record.fileFrame), nameOf(record.kind), record.fileFrames, record.sourceJump,
            record.sourceFramesLost);
    }
    out << "</ol></details>\n";
}

void writeReceivers(std::ostream& out, const ReportContents& contents) {
    out << "<h2>Receivers</h2>\n<div class=\"wide\"><table id=\"receivers\">\n<thead><tr><th>receiver</th>"
           "<th>recording</th><th>against the first</th>";
    if (contents.hasSource)
        out << "<th>offset to the source</th><th>against the source</th><th>gaps</th>"
               "<th>jumps ahead</th><th>overlaps</th><th>foreign frames</th><th>missing at start</th>"
               "<th>missing at end</th>";
    out << "</tr></thead>\n<tbody>\n";
    for (const ReceiverReport& receiver : contents.receivers)
        writeReceiverRow(out, receiver, contents.hasSource);
    out << "</tbody></table></div>\n";
    if (contents.hasSource)
        for (const ReceiverReport& receiver : contents.receivers)
            writeBreaks(out, receiver);
}

void writeTimeLine(std::ostream& out, const ReportContents& contents) {
    out << "<h2>Time line</h2>\n<p class=\"note\">";
    if (contents.placed)
        out << fmt::format(
            "0 s is the first frame of the recordings, when the first receiver was connected: "
            "{}. Recordings are exact to the frame; events and log lines stand where their "
            "dates put them, to within 0.2 s.",
            dateText(contents.origin));
    else
        out << fmt::format(
            "0 s is the first frame of the recordings, and {} for events and log lines: "
            "nothing tells how these two belong together.",
            dateText(contents.origin));
    if (contents.hasSource)
        out << " The source is shown where the first receiver began to play it.";
    out << "</p>\n<p id=\"trouble\" hidden></p>\n<noscript><p>The charts need JavaScript.</p></noscript>\n"
           "<div id=\"tools\"></div>\n<div id=\"charts\"></div>\n";
}

void writeRow(std::ostream& out, double time, std::string_view kind, std::string_view text) {
    out << fmt::format(
        "<tr class=\"{0}\" data-time=\"{1:.6f}\"><td>{1:.3f}</td><td>{0}</td><td>{2}</td></tr>\n", kind, time,
        escaped(text));
}

void writeLists(std::ostream& out, const ReportData& data, const ReportContents& contents) {
    out << "<h2>Events and log</h2>\n<p class=\"note\">A click shows the place on the time line.</p>\n"
           "<div class=\"list\"><table id=\"lines\">\n<thead><tr><th>s</th><th>kind</th><th>text</th></tr>"
           "</thead>\n<tbody>\n";
    auto event = data.events.begin();
    std::size_t rows = 0;
    const auto eventsBefore = [&](dispatch::Date time) {
        for (; event != data.events.end() && event->time <= time && rows < mostRows; ++event, ++rows)
            writeRow(out, contents.secondsAt(event->time), "event", event->text);
    };
    for (const ServiceLog::Line& line : contents.log.lines) {
        eventsBefore(line.time);
        if (rows++ >= mostRows)
            break;
        writeRow(out, contents.secondsAt(line.time), line.level >= errorLevel ? "error" : "log", line.text);
    }
    eventsBefore(dispatch::Date::max());
    out << "</tbody></table></div>\n";
    if (const std::size_t all = data.events.size() + contents.log.lines.size(); all > mostRows)
        out << fmt::format("<p class=\"note\">The first {} of {} are listed.</p>\n", mostRows, all);
}

} // namespace

void writePage(std::ostream& out, const ReportData& data, const ReportContents& contents) {
    out << "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
           "<meta name=\"viewport\" content=\"width=device-width\">\n"
           "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; "
           "script-src 'unsafe-inline'; style-src 'unsafe-inline'\">\n"
        << "<title>" << escaped(data.title) << "</title>\n<style>\n"
        << PageAssets::plotStyle() << PageAssets::style() << "</style>\n</head>\n<body>\n";
    writeTop(out, data, contents);
    writeReceivers(out, contents);
    writeTimeLine(out, contents);
    writeLists(out, data, contents);
    out << "<script type=\"application/json\" id=\"data\">" << chartData(contents, data.events)
        << "</script>\n<script>\n"
        << PageAssets::plotScript() << "\n</script>\n<script>\n"
        << PageAssets::script() << "</script>\n</body>\n</html>\n";
}

ReportSummary writeReport(const ReportData& data, const std::filesystem::path& path) {
    const ReportContents contents = workOut(data);
    std::ofstream file(path, std::ios::binary);
    writePage(file, data, contents);
    file.close();
    if (!file)
        throw std::system_error(errno, std::generic_category(), path.string());
    return {.headline = headline(contents),
            .isPerfect = contents.verdict.perfect && mostLostAtStart(contents) == 0};
}

} // namespace orbctl
