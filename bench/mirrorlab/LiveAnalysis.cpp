// SPDX-License-Identifier: MIT
#include "bench/mirrorlab/LiveAnalysis.h"

#include <algorithm>
#include <array>
#include <bit>
#include <utility>

namespace mirrorlab {
namespace {

/// Silence fed at once.
constexpr std::size_t silentFrames = 4096;
constexpr std::array<float, silentFrames * orbctl::channelCount> silence{};

} // namespace

LiveAnalysis::LiveAnalysis(std::unique_ptr<orbctl::FrameReader> source, std::size_t receivers,
                           orbctl::StreamAnalysisOptions options)
    : source_(std::move(source)),
      analysis_(*source_, options),
      comparisons_(receivers > 0 ? receivers - 1 : 0) {}

void LiveAnalysis::play(std::size_t receiver, std::span<const float> frames, orbctl::FrameNumber first) {
    if (receiver == 0)
        return playFirst(frames, first);
    orbctl::ReceiverComparison& comparison = comparisons_[receiver - 1];
    if (first == latestFirst_ && frames.size() == latest_.size())
        comparison.feed(latest_, frames);
    else
        comparison.feedRest(frames); // heard where the first receiver is silent, or otherwise: different
}

void LiveAnalysis::playFirst(std::span<const float> frames, orbctl::FrameNumber first) {
    feedSilence(first - fed_);
    analysis_.feed(frames);
    digest(frames, first);
    fed_ = first + static_cast<orbctl::FrameNumber>(orbctl::frameCount(frames));
    latest_.assign(frames.begin(), frames.end());
    latestFirst_ = first;
}

void LiveAnalysis::feedSilence(orbctl::FrameNumber frames) {
    while (frames > 0) {
        const auto now = std::min<orbctl::FrameNumber>(frames, silentFrames);
        analysis_.feed(std::span(silence).first(static_cast<std::size_t>(now) * orbctl::channelCount));
        frames -= now;
    }
}

void LiveAnalysis::digest(std::span<const float> frames, orbctl::FrameNumber first) {
    constexpr std::uint64_t prime = 0x100000001b3;
    digest_ = (digest_ ^ static_cast<std::uint64_t>(first)) * prime;
    for (const float sample : frames)
        digest_ = (digest_ ^ std::bit_cast<std::uint32_t>(sample)) * prime;
}

std::vector<orbctl::ReceiverResult> LiveAnalysis::finish() {
    std::vector<orbctl::ReceiverResult> results;
    results.push_back({.stream = analysis_.finish(), .againstFirst = {}, .offsetToFirst = 0});
    for (const orbctl::ReceiverComparison& comparison : comparisons_) {
        orbctl::ReceiverResult result{
            .stream = {}, .againstFirst = comparison.result(), .offsetToFirst = std::nullopt};
        if (comparison.result().identical()) {
            result.stream = results.front().stream;
            result.offsetToFirst = 0;
        }
        results.push_back(std::move(result));
    }
    return results;
}

} // namespace mirrorlab
