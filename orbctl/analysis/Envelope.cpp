// SPDX-License-Identifier: MIT
#include "orbctl/analysis/Envelope.h"

#include <algorithm>

namespace orbctl {

Envelope::Envelope(std::size_t mostBins) : mostBins_(std::max<std::size_t>(mostBins / 2, 1) * 2) {}

void Envelope::add(std::span<const float> interleaved) {
    while (!interleaved.empty()) {
        if (frames_ % framesPerBin_ == 0) {
            if (bins_.size() == mostBins_)
                mergeNeighbours();
            bins_.push_back({.least = interleaved[0], .most = interleaved[0]});
        }
        const auto room = static_cast<std::size_t>(framesPerBin_ - frames_ % framesPerBin_) * channelCount;
        const auto now = interleaved.first(std::min(room, interleaved.size()));
        addToLastBin(now);
        interleaved = interleaved.subspan(now.size());
    }
}

void Envelope::addToLastBin(std::span<const float> interleaved) {
    float least = bins_.back().least;
    float most = bins_.back().most;
    for (const float sample : interleaved) {
        least = std::min(least, sample);
        most = std::max(most, sample);
    }
    if (!firstSound_ && (least < -silencePeak || most > silencePeak)) {
        const auto sound = std::ranges::find_if(
            interleaved, [](float sample) { return sample < -silencePeak || sample > silencePeak; });
        firstSound_ = frames_ + (sound - interleaved.begin()) / static_cast<std::ptrdiff_t>(channelCount);
    }
    bins_.back() = {.least = least, .most = most};
    frames_ += static_cast<FrameNumber>(frameCount(interleaved));
}

void Envelope::mergeNeighbours() {
    for (std::size_t i = 0; i < bins_.size() / 2; ++i) {
        const Bin& first = bins_[2 * i];
        const Bin& second = bins_[2 * i + 1];
        bins_[i] = {.least = std::min(first.least, second.least), .most = std::max(first.most, second.most)};
    }
    bins_.resize(bins_.size() / 2);
    framesPerBin_ *= 2;
}

} // namespace orbctl
