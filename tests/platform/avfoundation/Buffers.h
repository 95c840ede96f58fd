// SPDX-License-Identifier: MIT
#pragma once

#include "platform/coremedia/CMSampleBuffer.h"

#include <memory>
#include <vector>

namespace avfoundation {

/// A buffer whose frames describe themselves: left `firstNumber`, `firstNumber + 1`, ..., right the negative.
inline std::shared_ptr<const coremedia::CMSampleBuffer> makeBuffer(
    const coremedia::CMTime& time, std::int64_t frames, std::int64_t firstNumber,
    const coremedia::AudioStreamBasicDescription& layout = coremedia::packedFloatDescription(44100, 2)) {
    std::vector<float> samples(static_cast<std::size_t>(frames) * layout.channelsPerFrame);
    for (std::size_t sample = 0; sample < samples.size(); ++sample) {
        const auto number = firstNumber + static_cast<std::int64_t>(sample / layout.channelsPerFrame);
        samples[sample] = static_cast<float>(sample % 2 == 0 ? number : -number);
    }
    std::shared_ptr<coremedia::CMBlockBuffer> block;
    const std::size_t bytes = samples.size() * sizeof(float);
    coremedia::CMBlockBufferCreateWithMemoryBlock(bytes, coremedia::CMBlockBufferFlags::assureMemoryNow,
                                                  block);
    coremedia::CMBlockBufferReplaceDataBytes(samples.data(), block, 0, bytes);
    std::shared_ptr<const coremedia::CMAudioFormatDescription> format;
    coremedia::CMAudioFormatDescriptionCreate(layout, format);
    std::shared_ptr<const coremedia::CMSampleBuffer> buffer;
    coremedia::CMAudioSampleBufferCreateReadyWithPacketDescriptions(block, format, frames, time, buffer);
    return buffer;
}

} // namespace avfoundation
