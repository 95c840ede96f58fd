// SPDX-License-Identifier: MIT
#include "bench/mirrorlab/Report.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <iterator>

namespace mirrorlab {

namespace {

constexpr auto rate = static_cast<double>(orbctl::framesPerSecond);

// Listed of anything in the text; the rest is only counted.
constexpr std::size_t mostLines = 20;

using Out = std::back_insert_iterator<std::string>;

template <typename... Arguments>
void line(Out out, std::string_view label, fmt::format_string<Arguments...> format,
          Arguments&&... arguments) {
    fmt::format_to(out, "  {:<18}", label);
    fmt::format_to(out, format, std::forward<Arguments>(arguments)...);
    fmt::format_to(out, "\n");
}

double seconds(orbctl::FrameNumber frames) { return static_cast<double>(frames) / rate; }

void writeRun(Out out, const Report& report) {
    const RunParameters& run = report.parameters;
    fmt::format_to(out, "Run\n");
    line(out, "sound", "{} ({:.3f} s)", fmt::join(run.soundFiles, ", "), run.durationSeconds);
    for (const std::string& notice : run.notices) {
        line(out, "notice", "{}", notice);
    }
    line(out, "mode", "{}, {:.1f} times real time",
         run.mode == RunMode::realTime ? "real time" : "virtual time", report.speedFactor);
    line(out, "chunk", "{} frames, device period {} frames", run.chunkFrames, run.ioFrames);
    line(out, "latency set", "{:.3f} s", run.latencySeconds);
    const orbctl::LatencySeries::Point& latency = report.effectiveLatency.whole();
    if (latency.values > 0) {
        line(out, "latency as fed", "{:.6f} s on average, {:.6f} to {:.6f} s ({} values)", latency.mean,
             latency.least, latency.most, latency.values);
    }
    line(out, "late cycles", "{} (worst {:.1f} ms)", report.lateCycles, report.worstLatenessSeconds * 1000.0);
    line(out, "player underruns", "{}", report.playerUnderruns);
    line(out, "resyncs", "{}", report.resynchronisations.size());
    const std::size_t listed = std::min(mostLines, report.resynchronisations.size());
    for (std::size_t i = 0; i < listed; ++i) {
        line(out, "", "{:.3f} s: {}", report.resynchronisations[i].timeSeconds,
             report.resynchronisations[i].reason);
    }
}

void writeTable(Out out, const Report& report) {
    std::size_t width = 8;
    for (const orbctl::ReceiverReport& receiver : report.receivers) {
        width = std::max(width, receiver.name.size());
    }
    fmt::format_to(out,
                   "\nReceivers\n  {:<{}} {:>12} {:>12} {:>8} {:>10} {:>10} {:>6} {:>8} {:>5}  {:<10} {}\n",
                   "name", width, "frames", "matched", "segments", "unmatched", "lost", "gaps", "overlaps",
                   "late", "identical", "offset to first");
    for (const orbctl::ReceiverReport& receiver : report.receivers) {
        const orbctl::ReceiverResult& result = receiver.result;
        const orbctl::StreamResult& stream = result.stream;
        fmt::format_to(out, "  {:<{}} {:>12} {:>12} {:>8} {:>10} {:>10} {:>6} {:>8} {:>5}  {:<10} {}\n",
                       receiver.name, width, stream.frames, stream.matchedFrames, stream.segmentCount,
                       stream.unmatchedFrames, stream.sourceFramesLostBetween + stream.sourceFramesLostAtEnd,
                       receiver.gaps, receiver.overlaps, receiver.lateBuffers,
                       result.againstFirst.identical() ? "yes" : "no",
                       result.offsetToFirst ? fmt::format("{} frames", *result.offsetToFirst) : "unknown");
    }
}

void writeSegments(Out out, const orbctl::ReceiverReport& receiver) {
    const orbctl::StreamResult& stream = receiver.result.stream;
    fmt::format_to(out, "\n{} ({})\n", receiver.name, receiver.file);
    const std::size_t segments = std::min(mostLines, stream.segments.size());
    for (std::size_t i = 0; i < segments; ++i) {
        const orbctl::Segment& segment = stream.segments[i];
        std::string heard;
        if (i < receiver.heardLatencies.size()) {
            heard = fmt::format(", heard after {:.6f} s", receiver.heardLatencies[i].seconds);
        }
        line(out, "segment", "{:>12.3f} s: {} frames, offset {} frames{}", seconds(segment.fileFrame),
             segment.frames, segment.offset(), heard);
    }
    const std::size_t breaks = std::min(mostLines, stream.breaks.size());
    for (std::size_t i = 0; i < breaks; ++i) {
        const orbctl::Break& record = stream.breaks[i];
        line(out, nameOf(record.kind), "{:>12.3f} s: {} frames, source jump {}, {} lost",
             seconds(record.fileFrame), record.fileFrames, record.sourceJump, record.sourceFramesLost);
    }
    const auto shown = static_cast<orbctl::FrameNumber>(segments);
    if (stream.segmentCount > shown) {
        line(out, "", "and {} segments more", stream.segmentCount - shown);
    }
    line(out, "start and end", "{} source frames not heard at the start, {} at the end",
         stream.sourceFramesLostAtStart, stream.sourceFramesLostAtEnd);
}

} // namespace

std::string Report::toText() const {
    std::string text;
    const Out out(text);
    const orbctl::Verdict judged = verdict();
    fmt::format_to(out, "The mirror is {}.\n", judged.perfect ? "perfect" : "imperfect");
    for (const std::string& reason : judged.reasons) {
        fmt::format_to(out, "  - {}\n", reason);
    }
    fmt::format_to(out, "\n");
    writeRun(out, *this);
    writeTable(out, *this);
    for (const orbctl::ReceiverReport& receiver : receivers) {
        writeSegments(out, receiver);
    }
    return text;
}

} // namespace mirrorlab
