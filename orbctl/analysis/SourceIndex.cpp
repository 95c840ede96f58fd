// SPDX-License-Identifier: MIT
#include "orbctl/analysis/SourceIndex.h"

#include <algorithm>
#include <bit>

namespace orbctl {

namespace {

// Any odd multiplier keeps every frame's weight invertible; this one is a known good mixer (2^64 / golden
// ratio).
constexpr std::uint64_t base = 0x9e3779b97f4a7c15ULL;

constexpr std::uint64_t power(std::uint64_t factor, std::size_t exponent) {
    std::uint64_t result = 1;
    for (std::size_t i = 0; i < exponent; ++i) {
        result *= factor;
    }
    return result;
}

// What a frame that leaves the window weighs by then.
constexpr std::uint64_t leavingWeight = power(base, RollingHash::windowFrames);

// Stale entries are swept when they may be worth ten seconds.
constexpr FrameNumber sweepFrames = 10 * framesPerSecond;

std::uint64_t frameBits(const float* frame) {
    // Adding +0 makes a negative zero positive, so that equal frames have equal bits.
    const std::uint64_t left = std::bit_cast<std::uint32_t>(frame[0] + 0.0F);
    const std::uint64_t right = std::bit_cast<std::uint32_t>(frame[1] + 0.0F);
    return left << 32U | right;
}

std::uint64_t mixed(std::uint64_t bits) {
    bits ^= bits >> 29U;
    bits *= 0xbf58476d1ce4e5b9ULL;
    return bits ^ bits >> 32U;
}

} // namespace

void RollingHash::push(const float* frame) {
    const std::uint64_t bits = frameBits(frame);
    run_ = pushed_ > 0 && bits == lastFrame_ ? run_ + 1 : 1;
    lastFrame_ = bits;
    std::uint64_t& slot = ring_[pushed_ % windowFrames];
    const std::uint64_t entering = mixed(bits);
    hash_ = hash_ * base + entering - slot * leavingWeight;
    slot = entering;
    ++pushed_;
}

void SourceIndex::extend(const SourceWindow& window) {
    if (hashedEnd_ < window.begin()) {
        rolling_ = RollingHash();
        runBegin_ = window.begin();
        hashedEnd_ = window.begin();
    }
    constexpr auto windowFrames = static_cast<FrameNumber>(RollingHash::windowFrames);
    const float* frame = window.at(hashedEnd_);
    while (hashedEnd_ < window.end()) {
        rolling_.push(frame);
        frame += channelCount;
        ++hashedEnd_;
        const FrameNumber start = hashedEnd_ - windowFrames;
        if (start >= runBegin_ && start % anchorSpacing == 0 && rolling_.telling()) {
            entries_[rolling_.value()].push_back(start);
        }
    }
}

void SourceIndex::forgetBefore(FrameNumber position) {
    if (position < forgotten_ + sweepFrames) {
        return;
    }
    forgotten_ = position;
    for (auto entry = entries_.begin(); entry != entries_.end();) {
        auto& places = entry->second;
        places.erase(places.begin(), std::lower_bound(places.begin(), places.end(), position));
        entry = places.empty() ? entries_.erase(entry) : std::next(entry);
    }
}

std::span<const FrameNumber> SourceIndex::positions(std::uint64_t hash, FrameNumber expected) const {
    const auto entry = entries_.find(hash);
    if (entry == entries_.end()) {
        return {};
    }
    const std::span<const FrameNumber> places(entry->second);
    if (places.size() <= mostPositions) {
        return places;
    }
    const auto near = std::lower_bound(places.begin(), places.end(), expected);
    const auto rank = static_cast<std::size_t>(near - places.begin());
    const std::size_t half = mostPositions / 2;
    const std::size_t first = std::min(rank > half ? rank - half : 0, places.size() - mostPositions);
    return places.subspan(first, mostPositions);
}

} // namespace orbctl
