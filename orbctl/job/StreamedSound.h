// SPDX-License-Identifier: MIT
#pragma once

#include "orbctl/sound/Frames.h"

#include <sndfile.h>

#include <memory>
#include <vector>

namespace orbctl {

/// Sound that comes through a pipe: a stream that says itself what it is (WAV or AU), at 44100 Hz. Mono goes
/// to both channels; of more than two the first two are used. A read waits for the other side. One thread.
class StreamedSound final : public FrameReader {
  public:
    /// Waits for the beginning. `descriptor` is borrowed. Throws SoundFileError.
    explicit StreamedSound(int descriptor);

    std::size_t read(std::span<float> interleaved) override;

  private:
    SF_INFO info_{};
    std::unique_ptr<SNDFILE, decltype(&sf_close)> stream_;
    std::vector<float> frames_; // as they come
};

} // namespace orbctl
