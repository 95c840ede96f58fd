// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace lmn {

/// A buffer of interleaved 32-bit float frames of fixed size. Its memory is taken at creation; no operation
/// allocates, so all may be used on real-time threads. Owned and used by one thread at a time.
class LMNBuffer {
  public:
    /// Peak below which a buffer counts as silent: -100 dB of full scale, under the noise of a 16-bit
    /// recording.
    static constexpr float silencePeak = 1e-5F;

    /// `channelCount` and `frameCount` may be zero; `sampleRate` in Hz.
    LMNBuffer(std::uint32_t channelCount, std::uint32_t frameCount, double sampleRate);

    std::uint32_t channelCount() const { return channelCount_; }
    std::uint32_t frameCount() const { return frameCount_; }
    double sampleRate() const { return sampleRate_; }

    /// `frameCount` x `channelCount` floats.
    float* samples() { return samples_.data(); }
    const float* samples() const { return samples_.data(); }

    /// Adds the samples into `target`, which holds as many.
    void mixToInterleavedFloats(float* target) const;

    /// Adds as many floats from `source` into the buffer.
    void mixFromInterleavedFloats(const float* source);

    /// Overwrites the buffer from `source`.
    void copyFromInterleavedFloats(const float* source);

    /// Zeroes all samples.
    void mute();

    void applyGain(float gain);

    /// No sample above `silencePeak`.
    bool isSilence() const;

    /// Every sample from frame `firstFrame` on is exactly zero.
    bool isSilenceStrict(std::uint32_t firstFrame) const;

  private:
    const std::uint32_t channelCount_;
    const std::uint32_t frameCount_;
    const double sampleRate_;
    std::vector<float> samples_;
};

/// Adds `source` into `target`, sample by sample; both of one size.
void mixInto(std::span<float> target, std::span<const float> source);

} // namespace lmn
