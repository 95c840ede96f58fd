// SPDX-License-Identifier: MIT
#include "platform/lmn/LMNBuffer.h"

#include <algorithm>
#include <cmath>

namespace lmn {
namespace {

/// Samples examined between two looks at whether the answer is already known: long enough for the loop
/// inside to be vectorised, short enough to leave loud sound at once.
constexpr std::size_t examinedAtOnce = 64;

bool staysBelow(std::span<const float> samples, float peak) {
    for (std::size_t first = 0; first < samples.size(); first += examinedAtOnce) {
        bool below = true;
        for (const float sample : samples.subspan(first, std::min(examinedAtOnce, samples.size() - first)))
            below &= std::fabs(sample) <= peak;
        if (!below)
            return false;
    }
    return true;
}

} // namespace

LMNBuffer::LMNBuffer(std::uint32_t channelCount, std::uint32_t frameCount, double sampleRate)
    : channelCount_(channelCount),
      frameCount_(frameCount),
      sampleRate_(sampleRate),
      samples_(std::size_t{channelCount} * frameCount) {}

void LMNBuffer::mixToInterleavedFloats(float* target) const { mixInto({target, samples_.size()}, samples_); }

void LMNBuffer::mixFromInterleavedFloats(const float* source) {
    mixInto(samples_, {source, samples_.size()});
}

void LMNBuffer::copyFromInterleavedFloats(const float* source) {
    std::copy_n(source, samples_.size(), samples_.data());
}

void LMNBuffer::mute() { std::ranges::fill(samples_, 0.0F); }

void LMNBuffer::applyGain(float gain) {
    if (gain == 1.0F)
        return;
    for (float& sample : samples_)
        sample *= gain;
}

bool LMNBuffer::isSilence() const { return staysBelow(samples_, silencePeak); }

bool LMNBuffer::isSilenceStrict(std::uint32_t firstFrame) const {
    const std::size_t first = std::min(std::size_t{firstFrame} * channelCount_, samples_.size());
    return staysBelow(std::span(samples_).subspan(first), 0.0F);
}

void mixInto(std::span<float> target, std::span<const float> source) {
    float* const __restrict sum = target.data();
    const float* const __restrict addend = source.data();
    const std::size_t count = target.size();
    for (std::size_t index = 0; index < count; ++index)
        sum[index] += addend[index];
}

} // namespace lmn
