// SPDX-License-Identifier: MIT
#include "orbctl/analysis/UnalignedFrames.h"

#include <algorithm>

namespace orbctl {

namespace {

// Searched frames that stay: 1.5 s, far more than any match needs to reach back, unless the sound is
// constant.
constexpr std::size_t historyFrames = 65536;

} // namespace

void UnalignedFrames::restart(FrameNumber fileFrame) {
    store_.clear();
    head_ = 0;
    searched_ = 0;
    begin_ = fileFrame;
    heldBegin_ = fileFrame;
    silentBeforeHeld_ = 0;
    nonSilentDropped_ = 0;
    firstSounding_ = -1;
}

void UnalignedFrames::append(std::span<const float> interleavedFrames) {
    // Moving is worth it only when it frees at least as much as it moves.
    if (head_ * channelCount * 2 > store_.size()) {
        store_.erase(store_.begin(), store_.begin() + static_cast<std::ptrdiff_t>(head_ * channelCount));
        searched_ -= head_;
        head_ = 0;
    }
    if (firstSounding_ < 0) {
        const std::size_t silent = leadingSilentFrames(interleavedFrames);
        if (silent < frameCount(interleavedFrames)) {
            firstSounding_ = end() + static_cast<FrameNumber>(silent);
        }
    }
    store_.insert(store_.end(), interleavedFrames.begin(), interleavedFrames.end());
}

void UnalignedFrames::skipSilence() { skip(leadingSilentFrames(searchable().frames)); }

void UnalignedFrames::skip(std::size_t frames) {
    searched_ += frames;
    trim();
}

void UnalignedFrames::trim() {
    // Silence at the front need not be held to be known.
    const auto searchedInVain = [&] { return searched_ - head_; };
    while (searchedInVain() > 0) {
        const bool silent = isSilent(&store_[head_ * channelCount]);
        if (!silent && searchedInVain() <= historyFrames) {
            return;
        }
        silentBeforeHeld_ = silent ? silentBeforeHeld_ + 1 : 0;
        nonSilentDropped_ += silent ? 0 : 1;
        ++head_;
        ++heldBegin_;
    }
}

RecordedFrames UnalignedFrames::searchable() const {
    return {std::span(store_).subspan(searched_ * channelCount),
            heldBegin_ + static_cast<FrameNumber>(searched_ - head_)};
}

RecordedFrames UnalignedFrames::held() const {
    return {std::span(store_).subspan(head_ * channelCount), heldBegin_};
}

FrameNumber UnalignedFrames::end() const {
    return heldBegin_ + static_cast<FrameNumber>(store_.size() / channelCount - head_);
}

FrameNumber UnalignedFrames::nonSilentBefore(FrameNumber fileFrame) const {
    const auto frames = static_cast<std::size_t>(std::max<FrameNumber>(fileFrame - heldBegin_, 0));
    const auto counted = held().frames.first(frames * channelCount);
    return nonSilentDropped_ + static_cast<FrameNumber>(nonSilentFrames(counted));
}

FrameNumber UnalignedFrames::firstSounding() const { return firstSounding_ < 0 ? end() : firstSounding_; }

} // namespace orbctl
