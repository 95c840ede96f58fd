// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "orbctl/sound/Frames.h"

namespace orbctl::test {

using Samples = std::vector<float>;

/// Frame n of the self-describing sound: no two are equal, none is silent, and both channels differ.
inline void describe(FrameNumber n, float* frame) {
    frame[0] = static_cast<float>(n + 1) / 16777216.0F;
    frame[1] = -static_cast<float>(n + 2) / 16777216.0F;
}

inline Samples described(FrameNumber from, FrameNumber to) {
    Samples samples(static_cast<std::size_t>(to - from) * channelCount);
    for (FrameNumber n = from; n < to; ++n)
        describe(n, &samples[static_cast<std::size_t>(n - from) * channelCount]);
    return samples;
}

inline Samples silence(FrameNumber frames) {
    return Samples(static_cast<std::size_t>(frames) * channelCount, 0.0F);
}

/// Reproducible noise whose frames hardly ever repeat.
inline Samples noise(FrameNumber frames, std::uint32_t seed) {
    Samples samples(static_cast<std::size_t>(frames) * channelCount);
    std::uint32_t state = seed * 2654435761U + 1U;
    for (float& sample : samples) {
        state = state * 1664525U + 1013904223U;
        sample = (static_cast<float>(state >> 8U) + 0.5F) / 16777216.0F - 0.5F;
    }
    return samples;
}

inline Samples joined(std::initializer_list<Samples> parts) {
    Samples all;
    for (const Samples& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

inline Samples repeated(const Samples& part, int times) {
    Samples all;
    for (int i = 0; i < times; ++i)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

/// Frames [from, to) of a sound.
inline Samples cut(const Samples& sound, FrameNumber from, FrameNumber to) {
    const auto at = [&](FrameNumber frame) {
        return sound.begin() + static_cast<std::ptrdiff_t>(frame) * static_cast<std::ptrdiff_t>(channelCount);
    };
    return {at(from), at(to)};
}

inline FrameNumber framesIn(const Samples& sound) {
    return static_cast<FrameNumber>(sound.size() / channelCount);
}

/// A sound in memory as a stream.
class MemoryReader final : public FrameReader {
  public:
    explicit MemoryReader(Samples samples) : samples_(std::move(samples)) {}

    std::size_t read(std::span<float> interleaved) override {
        const std::size_t count = std::min(interleaved.size(), samples_.size() - position_);
        std::copy_n(samples_.begin() + static_cast<std::ptrdiff_t>(position_), count, interleaved.begin());
        position_ += count;
        return count / channelCount;
    }

  private:
    Samples samples_;
    std::size_t position_ = 0;
};

} // namespace orbctl::test
