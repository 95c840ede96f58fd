// SPDX-License-Identifier: MIT
#include "orbctl/analysis/ReceiverSetAnalysis.h"

#include <algorithm>

namespace orbctl {

namespace {

// Read of every recording at once; a few of them together stay in the processor's caches.
constexpr std::size_t blockFrames = 8192;

/// One of the other recordings on its way along the first.
struct Follower {
    std::unique_ptr<FrameReader> reader;
    ReceiverComparison comparison;
    FrameNumber frames = 0;
    std::vector<float> block = std::vector<float>(blockFrames * channelCount);

    std::span<const float> next(std::size_t wanted) {
        const std::size_t got = readFully(*reader, std::span(block).first(wanted * channelCount));
        frames += static_cast<FrameNumber>(got);
        return std::span<const float>(block).first(got * channelCount);
    }
};

void compareBlock(Follower& follower, std::span<const float> first) {
    const auto second = follower.next(frameCount(first));
    follower.comparison.feed(first.first(second.size()), second);
    follower.comparison.feedRest(first.subspan(second.size()));
}

void compareRest(Follower& follower) {
    for (;;) {
        const auto rest = follower.next(blockFrames);
        if (rest.empty()) {
            return;
        }
        follower.comparison.feedRest(rest);
    }
}

StreamResult analyseAlone(const OpenReader& source, const OpenReader& recording,
                          const StreamAnalysisOptions& options, RecordingEnd end,
                          std::vector<Follower>& followers) {
    const auto sourceReader = source();
    const auto reader = recording();
    StreamAnalysis analysis(*sourceReader, options);
    std::vector<float> block(blockFrames * channelCount);
    for (;;) {
        const std::size_t got = readFully(*reader, block);
        if (got == 0) {
            break;
        }
        const std::span<const float> frames = std::span<const float>(block).first(got * channelCount);
        analysis.feed(frames);
        for (Follower& follower : followers) {
            compareBlock(follower, frames);
        }
    }
    std::for_each(followers.begin(), followers.end(), compareRest);
    return analysis.finish(end);
}

} // namespace

std::vector<ReceiverResult> analyseReceivers(const OpenReader& source,
                                             const std::vector<OpenReader>& recordings,
                                             const StreamAnalysisOptions& options, RecordingEnd end) {
    std::vector<ReceiverResult> results(recordings.size());
    if (recordings.empty()) {
        return results;
    }
    std::vector<Follower> followers(recordings.size() - 1);
    for (std::size_t i = 0; i < followers.size(); ++i) {
        followers[i].reader = recordings[i + 1]();
    }
    const StreamResult first = analyseAlone(source, recordings.front(), options, end, followers);
    results.front() = {first, {first.frames, 0, std::nullopt}, 0};
    std::vector<Follower> none;
    for (std::size_t i = 0; i < followers.size(); ++i) {
        ReceiverResult& result = results[i + 1];
        result.againstFirst = followers[i].comparison.result();
        // Equal but longer or shorter in silence, it would still have counts of its own.
        const bool same = result.againstFirst.identical() && followers[i].frames == first.frames;
        result.stream = same ? first : analyseAlone(source, recordings[i + 1], options, end, none);
        result.offsetToFirst = result.againstFirst.identical() ? 0 : offsetBetween(first, result.stream);
    }
    return results;
}

} // namespace orbctl
