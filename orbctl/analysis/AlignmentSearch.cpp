// SPDX-License-Identifier: MIT
#include "orbctl/analysis/AlignmentSearch.h"

#include <algorithm>
#include <tuple>

namespace orbctl {

namespace {

// A likely offset is believed after fewer frames than one that content alone proposes.
constexpr std::size_t likelyMatchFrames = 64;

// Enough to hold every alignment of any real sound; a short period may have more, all equally good.
constexpr std::size_t mostCandidates = 4096;

} // namespace

std::optional<FoundAlignment> AlignmentSearch::find(const RecordedFrames& recorded,
                                                    std::size_t searchedFrames,
                                                    const AlignmentPreference& preference) {
    candidates_.clear();
    RollingHash rolling;
    const std::size_t total = frameCount(recorded.frames);
    std::size_t pushed = 0;
    std::size_t stop = std::min(searchedFrames, total);
    for (std::size_t at = 0; at < stop; ++at) {
        for (; pushed < total && pushed < at + RollingHash::windowFrames; ++pushed) {
            rolling.push(&recorded.frames[pushed * channelCount]);
        }
        const bool first = candidates_.empty();
        collectLikely(recorded, at, preference);
        if (pushed == at + RollingHash::windowFrames && rolling.telling()) {
            collectIndexed(recorded, at, rolling.value(), preference);
        }
        // Every other alignment that is good here meets the index within one spacing.
        if (first && !candidates_.empty()) {
            stop = std::min(total, at + static_cast<std::size_t>(SourceIndex::anchorSpacing));
        }
    }
    return best(preference);
}

void AlignmentSearch::collectLikely(const RecordedFrames& recorded, std::size_t at,
                                    const AlignmentPreference& preference) {
    if (isSilent(&recorded.frames[at * channelCount])) {
        return;
    }
    const FrameNumber file = recorded.firstFileFrame + static_cast<FrameNumber>(at);
    for (const FrameNumber offset : preference.likely) {
        const FrameNumber sourceLeft = window_.end() - (file - offset);
        if (sourceLeft <= 0) {
            continue;
        }
        // The recording or the source may end before the full length is there.
        std::size_t leastMatch = std::min(likelyMatchFrames, frameCount(recorded.frames) - at);
        if (window_.exhausted()) {
            leastMatch = std::min(leastMatch, static_cast<std::size_t>(sourceLeft));
        }
        consider(recorded, at, offset, leastMatch);
    }
}

void AlignmentSearch::collectIndexed(const RecordedFrames& recorded, std::size_t at, std::uint64_t hash,
                                     const AlignmentPreference& preference) {
    const FrameNumber file = recorded.firstFileFrame + static_cast<FrameNumber>(at);
    for (const FrameNumber position : index_.positions(hash, file - preference.expectedOffset)) {
        consider(recorded, at, file - position, RollingHash::windowFrames);
    }
}

void AlignmentSearch::consider(const RecordedFrames& recorded, std::size_t at, FrameNumber offset,
                               std::size_t leastMatch) {
    const FrameNumber file = recorded.firstFileFrame + static_cast<FrameNumber>(at);
    const FrameNumber position = file - offset;
    if (position < window_.begin() || position >= window_.end() || candidates_.size() >= mostCandidates) {
        return;
    }
    const float* output = &recorded.frames[at * channelCount];
    if (!framesEqual(output, window_.at(position))) {
        return;
    }
    const bool known = std::any_of(candidates_.begin(), candidates_.end(), [&](const Candidate& other) {
        return other.found.offset == offset && file < other.matchEnd;
    });
    if (known) {
        return;
    }
    const std::size_t frames =
        std::min({frameCount(recorded.frames) - at, static_cast<std::size_t>(window_.end() - position),
                  judgementFrames});
    const std::size_t equal = equalFrames(output, window_.at(position), frames);
    if (equal >= leastMatch) {
        candidates_.push_back({{file, offset}, file + static_cast<FrameNumber>(equal)});
    }
}

std::optional<FoundAlignment> AlignmentSearch::best(const AlignmentPreference& preference) const {
    if (candidates_.empty()) {
        return std::nullopt;
    }
    // Matches that reach this far go on as long as anyone could see; beyond it length says nothing.
    const FrameNumber horizon =
        candidates_.front().found.fileFrame + static_cast<FrameNumber>(judgementFrames);
    const auto rank = [&](const Candidate& candidate) {
        const bool hinted = preference.hint && preference.hint->contains(candidate.found.offset);
        const FrameNumber distance = candidate.found.offset - preference.expectedOffset;
        return std::tuple(-std::min(candidate.matchEnd, horizon), hinted ? 0 : 1,
                          distance < 0 ? -distance : distance);
    };
    const auto winner = std::min_element(
        candidates_.begin(), candidates_.end(),
        [&](const Candidate& left, const Candidate& right) { return rank(left) < rank(right); });
    return winner->found;
}

} // namespace orbctl
