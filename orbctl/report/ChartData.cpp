// SPDX-License-Identifier: MIT
#include "orbctl/report/ReportPage.h"

#include "platform/foundation/coding/Base64.h"

#include <fmt/format.h>
#include <boost/json.hpp>

#include <algorithm>
#include <cmath>

/// The data of the page's charts.
namespace orbctl {
namespace {

namespace json = boost::json;

/// Marks of one lane; what is beyond is in the table only, or nowhere.
constexpr std::size_t mostMarks = 4000;

double seconds(FrameNumber frames) { return static_cast<double>(frames) / framesPerSecond; }

float peakOf(const std::vector<Outline>& tracks) {
    float peak = Envelope::silencePeak;
    for (const Outline& track : tracks)
        for (const Envelope::Bin& bin : track.envelope.bins())
            peak = std::max({peak, -bin.least, bin.most});
    return peak;
}

/// Rounded outwards, so that the faintest sound differs from silence.
foundation::Data levels(const Envelope& envelope, float peak) {
    const auto level = [](float rounded) {
        const float usable = std::isfinite(rounded) ? std::clamp(rounded, -127.0F, 127.0F) : 0.0F;
        return static_cast<char>(static_cast<std::int8_t>(usable));
    };
    foundation::Data data;
    data.bytes.reserve(envelope.bins().size() * 2);
    for (const Envelope::Bin& bin : envelope.bins()) {
        data.bytes += level(std::floor(bin.least / peak * 127.0F));
        data.bytes += level(std::ceil(bin.most / peak * 127.0F));
    }
    return data;
}

json::array tracksJson(const ReportContents& contents, float peak) {
    json::array array;
    for (const Outline& track : contents.tracks)
        array.push_back({{"name", track.name},
                         {"source", contents.hasSource && array.empty()},
                         {"start", seconds(track.firstFrame)},
                         {"binSeconds", seconds(track.envelope.framesPerBin())},
                         {"levels", foundation::base64(levels(track.envelope, peak))}});
    return array;
}

json::array seriesJson(const ReportContents& contents, const std::vector<ServiceLog::Value>& values) {
    json::array array;
    for (const ServiceLog::Value& value : values)
        array.push_back(json::array{contents.secondsAt(value.time), value.seconds});
    return array;
}

json::object mark(double time, const char* lane, int level, std::string text) {
    return {{"time", time}, {"lane", lane}, {"level", level}, {"text", std::move(text)}};
}

void addFaults(json::array& marks, const ReportContents& contents) {
    for (const ReceiverReport& receiver : contents.receivers) {
        const auto& breaks = receiver.result.stream.breaks;
        for (std::size_t index = 0; index < std::min(mostMarks, breaks.size()); ++index)
            marks.push_back(mark(seconds(breaks[index].fileFrame), "fault", 0,
                                 fmt::format("{}: {} of {} frames", receiver.name, nameOf(breaks[index].kind),
                                             breaks[index].fileFrames)));
    }
}

json::array marksJson(const ReportContents& contents, const std::vector<ReportEvent>& events) {
    json::array marks;
    for (std::size_t index = 0; index < std::min(mostMarks, events.size()); ++index)
        marks.push_back(mark(contents.secondsAt(events[index].time), "event", 0, events[index].text));
    std::size_t logMarks = 0;
    for (const ServiceLog::Line& line : contents.log.lines)
        if (!line.plotted && logMarks++ < mostMarks)
            marks.push_back(mark(contents.secondsAt(line.time), "log", line.level, line.text));
    if (contents.hasSource)
        addFaults(marks, contents);
    return marks;
}

double endOf(const ReportContents& contents, const std::vector<ReportEvent>& events) {
    double end = 1;
    for (const Outline& track : contents.tracks)
        end = std::max(end, seconds(track.firstFrame + track.envelope.frames()));
    if (!contents.log.lines.empty())
        end = std::max(end, contents.secondsAt(contents.log.lines.back().time));
    for (const ReportEvent& event : events)
        end = std::max(end, contents.secondsAt(event.time));
    return end;
}

} // namespace

std::string chartData(const ReportContents& contents, const std::vector<ReportEvent>& events) {
    const float peak = peakOf(contents.tracks);
    json::object data{{"end", endOf(contents, events)},
                      {"latency", seriesJson(contents, contents.log.effectiveLatency)},
                      {"latencySet", nullptr},
                      {"buffered", seriesJson(contents, contents.log.buffered)},
                      {"peak", peak},
                      {"tracks", tracksJson(contents, peak)},
                      {"marks", marksJson(contents, events)}};
    if (contents.log.latency)
        data["latencySet"] = *contents.log.latency;
    std::string text;
    for (const char character : json::serialize(data)) {
        if (character == '<') // else a name could end the script element
            text += "\\u003c";
        else
            text += character;
    }
    return text;
}

} // namespace orbctl
