// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace coremedia {

/// Uncompressed samples; the four characters "lpcm".
inline constexpr uint32_t kAudioFormatLinearPCM = 0x6C70636D;

/// Samples are floating point; without it signed integers, both in the byte order of the machine.
inline constexpr uint32_t kAudioFormatFlagIsFloat = 1;
/// The bits of a sample fill its bytes; without it a sample may sit in a wider, padded container.
inline constexpr uint32_t kAudioFormatFlagIsPacked = 8;

/// Layout of an interleaved audio stream: a plain value, checked by CMAudioFormatDescriptionCreate.
/// A frame is one sample of each channel; a packet of linear PCM is one frame.
struct AudioStreamBasicDescription {
    double sampleRate = 0; ///< Frames per second.
    uint32_t formatID = 0;
    uint32_t formatFlags = 0;
    uint32_t bytesPerPacket = 0;
    uint32_t framesPerPacket = 0;
    uint32_t bytesPerFrame = 0;
    uint32_t channelsPerFrame = 0;
    uint32_t bitsPerChannel = 0;

    bool operator==(const AudioStreamBasicDescription&) const = default;
};

/// Packed interleaved 32-bit floats, the layout the audio chain works in.
constexpr AudioStreamBasicDescription packedFloatDescription(double sampleRate, uint32_t channels) noexcept {
    const uint32_t frame = channels * static_cast<uint32_t>(sizeof(float));
    return {.sampleRate = sampleRate,
            .formatID = kAudioFormatLinearPCM,
            .formatFlags = kAudioFormatFlagIsFloat | kAudioFormatFlagIsPacked,
            .bytesPerPacket = frame,
            .framesPerPacket = 1,
            .bytesPerFrame = frame,
            .channelsPerFrame = channels,
            .bitsPerChannel = 32};
}

} // namespace coremedia
