// SPDX-License-Identifier: MIT
#pragma once

#include "orbctl/sound/Frames.h"

#include <cstddef>
#include <optional>
#include <vector>

namespace orbctl {

/// The outline of a sound of any length in bounded memory: the least and the greatest sample, of both
/// channels, of stretches of equal length. When the bins become too many, neighbours are merged; no peak is
/// ever lost. One thread.
class Envelope {
  public:
    struct Bin {
        float least = 0.0F;
        float most = 0.0F;
    };

    /// No sample above this is silence, as the service has it: -100 dB of full scale.
    static constexpr float silencePeak = 1e-5F;

    /// `mostBins` is at least 2 and is rounded down to an even number.
    explicit Envelope(std::size_t mostBins = std::size_t{1} << 18);

    void add(std::span<const float> interleaved);

    /// The last one may hold fewer frames than the others.
    const std::vector<Bin>& bins() const { return bins_; }

    /// A power of two.
    FrameNumber framesPerBin() const { return framesPerBin_; }

    FrameNumber frames() const { return frames_; }

    /// The first frame that is not silence.
    std::optional<FrameNumber> firstSound() const { return firstSound_; }

  private:
    void addToLastBin(std::span<const float> interleaved);
    void mergeNeighbours();

    std::size_t mostBins_;
    FrameNumber framesPerBin_ = 16;
    FrameNumber frames_ = 0;
    std::optional<FrameNumber> firstSound_;
    std::vector<Bin> bins_;
};

} // namespace orbctl
