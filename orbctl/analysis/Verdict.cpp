// SPDX-License-Identifier: MIT
#include "orbctl/analysis/Verdict.h"

#include <fmt/format.h>

#include <limits>

namespace orbctl {

namespace {

constexpr auto rate = static_cast<double>(framesPerSecond);

// Beyond the latency, a jump may stand this far from the resynchronisation that caused it: what was rendered
// before is still heard, and the next chunk is awaited.
constexpr double excuseSeconds = 1.0;

double distanceSeconds(const Break& record, const Resynchronisation& cause) {
    const double begin = static_cast<double>(record.fileFrame) / rate;
    const double end = static_cast<double>(record.fileFrame + record.fileFrames) / rate;
    if (cause.timeSeconds < begin) {
        return begin - cause.timeSeconds;
    }
    return cause.timeSeconds > end ? cause.timeSeconds - end : 0.0;
}

/// Lets every resynchronisation excuse one jump of one recording.
class Excuses {
  public:
    explicit Excuses(const JudgedRun& run)
        : causes_(run.resynchronisations),
          used_(causes_.size(), false),
          reachSeconds_(run.latencySeconds + excuseSeconds) {}

    bool excuse(const Break& record) {
        // A resynchronisation leaves silence and a jump ahead; anything else is a fault of its own.
        if (record.nonSilentFrames > 0 || record.sourceJump < 0) {
            return false;
        }
        std::size_t nearest = causes_.size();
        double nearestSeconds = std::numeric_limits<double>::infinity();
        for (std::size_t i = 0; i < causes_.size(); ++i) {
            const double distance = distanceSeconds(record, causes_[i]);
            if (!used_[i] && distance <= reachSeconds_ && distance < nearestSeconds) {
                nearest = i;
                nearestSeconds = distance;
            }
        }
        if (nearest == causes_.size()) {
            return false;
        }
        used_[nearest] = true;
        return true;
    }

  private:
    const std::vector<Resynchronisation>& causes_;
    std::vector<bool> used_;
    double reachSeconds_;
};

void judgeBreaks(const JudgedRun& run, const ReceiverReport& receiver, std::vector<std::string>& reasons) {
    Excuses excuses(run);
    const StreamResult& stream = receiver.result.stream;
    FrameNumber unexcused = stream.breakCount - static_cast<FrameNumber>(stream.breaks.size());
    const Break* first = nullptr;
    for (const Break& record : stream.breaks) {
        if (excuses.excuse(record)) {
            continue;
        }
        ++unexcused;
        first = first != nullptr ? first : &record;
    }
    if (unexcused == 0) {
        return;
    }
    std::string sentence =
        fmt::format("{}: {} breaks that no resynchronisation explains", receiver.name, unexcused);
    if (first != nullptr) {
        sentence +=
            fmt::format("; the first is a {} at {:.3f} s ({} frames, source jump {})", nameOf(first->kind),
                        static_cast<double>(first->fileFrame) / rate, first->fileFrames, first->sourceJump);
    }
    reasons.push_back(sentence);
}

void judgeReceiver(const JudgedRun& run, const ReceiverReport& receiver, std::vector<std::string>& reasons) {
    const StreamResult& stream = receiver.result.stream;
    const auto blame = [&](std::int64_t count, const char* what) {
        if (count > 0) {
            reasons.push_back(fmt::format("{}: {} {}", receiver.name, count, what));
        }
    };
    if (stream.matchedFrames == 0) {
        reasons.push_back(fmt::format("{}: nothing of the source was found", receiver.name));
    }
    const ComparisonResult& against = receiver.result.againstFirst;
    if (!against.identical()) {
        reasons.push_back(fmt::format("{}: differs from {} in {} frames, first at {:.3f} s", receiver.name,
                                      run.receivers.front().name, against.differingFrames,
                                      static_cast<double>(against.firstDifference.value_or(0)) / rate));
    }
    judgeBreaks(run, receiver, reasons);
    blame(stream.unmatchedFrames, "frames of sound are not in the source");
    blame(stream.duplicatedFrames, "frames of the source are heard more than once");
    blame(stream.sourceFramesLostAtEnd, "frames are missing at the end of the source");
    blame(receiver.gaps, "gaps between buffers");
    blame(receiver.overlaps, "overlaps of buffers");
    blame(receiver.lateBuffers, "late buffers");
}

} // namespace

Verdict judge(const JudgedRun& run) {
    Verdict verdict;
    if (run.receivers.empty()) {
        verdict.reasons.emplace_back("no receiver took part");
    }
    for (const ReceiverReport& receiver : run.receivers) {
        judgeReceiver(run, receiver, verdict.reasons);
    }
    verdict.perfect = verdict.reasons.empty();
    return verdict;
}

std::vector<HeardLatency> heardLatencies(const StreamResult& stream, double sourceStartSeconds) {
    std::vector<HeardLatency> latencies;
    latencies.reserve(stream.segments.size());
    for (const Segment& segment : stream.segments) {
        const double heard = static_cast<double>(segment.fileFrame) / rate;
        const double putIn = sourceStartSeconds + static_cast<double>(segment.sourceFrame) / rate;
        latencies.push_back({heard, heard - putIn});
    }
    return latencies;
}

const char* nameOf(BreakKind kind) {
    switch (kind) {
        case BreakKind::gap:
            return "gap";
        case BreakKind::skip:
            return "skip";
        case BreakKind::repeat:
            return "repeat";
        case BreakKind::corruption:
            break;
    }
    return "corruption";
}

bool bitIdentical(const StreamResult& stream) {
    return stream.matchedFrames > 0 && stream.unmatchedFrames == 0;
}

} // namespace orbctl
