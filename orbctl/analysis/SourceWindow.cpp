// SPDX-License-Identifier: MIT
#include "orbctl/analysis/SourceWindow.h"

#include <algorithm>

namespace orbctl {

namespace {

// Read from the source at once.
constexpr std::size_t readFrames = 16384;

// The store's first size: the usual look-back of a few seconds several times over.
constexpr std::size_t firstStoreFrames = std::size_t{1} << 20;

} // namespace

SourceWindow::SourceWindow(FrameReader& source) : source_(source), store_(firstStoreFrames * channelCount) {}

void SourceWindow::readUpTo(FrameNumber wanted) {
    while (end_ < wanted && !exhausted_) {
        makeRoom(readFrames * channelCount);
        const std::size_t got = source_.read(std::span(store_).subspan(tail_, readFrames * channelCount));
        tail_ += got * channelCount;
        end_ += static_cast<FrameNumber>(got);
        exhausted_ = got == 0;
    }
}

void SourceWindow::discardBefore(FrameNumber position) {
    const FrameNumber kept = std::clamp(position, begin_, end_);
    head_ += static_cast<std::size_t>(kept - begin_) * channelCount;
    begin_ = kept;
}

const float* SourceWindow::at(FrameNumber position) const {
    return store_.data() + head_ + static_cast<std::size_t>(position - begin_) * channelCount;
}

std::span<const float> SourceWindow::frames(FrameNumber from, FrameNumber to) const {
    const FrameNumber first = std::clamp(from, begin_, end_);
    const FrameNumber last = std::clamp(to, first, end_);
    return {at(first), static_cast<std::size_t>(last - first) * channelCount};
}

void SourceWindow::makeRoom(std::size_t samples) {
    if (tail_ + samples <= store_.size()) {
        return;
    }
    const std::size_t held = tail_ - head_;
    std::copy(store_.begin() + static_cast<std::ptrdiff_t>(head_),
              store_.begin() + static_cast<std::ptrdiff_t>(tail_), store_.begin());
    head_ = 0;
    tail_ = held;
    // At least half stays free after moving, so that moving costs less than one copy per frame read.
    const std::size_t needed = 2 * (held + samples);
    if (store_.size() < needed) {
        store_.resize(needed);
    }
}

} // namespace orbctl
