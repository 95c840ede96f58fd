// SPDX-License-Identifier: MIT
#pragma once

#include "platform/lmn/LMNBuffer.h"

#include <cstdint>
#include <vector>

namespace orb {

/// Gathers the cycles' buffers into chunks of a fixed number of frames. Allocates at creation only.
/// The mirror device guards it with its lock.
class ChunkAccumulator {
  public:
    /// `chunkSize` frames per chunk; room for `deviceChannels` x `chunkSize` x 4 floats, and at least for one
    /// stereo chunk and the cycle that fills it.
    ChunkAccumulator(std::uint32_t chunkSize, std::uint32_t deviceChannels);

    /// Adds a buffer's frames behind those gathered. True when a chunk is full: it is then in `chunk`, of
    /// `chunkSize` frames, and the accumulator is empty again; frames beyond it are lost.
    bool add(const lmn::LMNBuffer& buffer, lmn::LMNBuffer& chunk);

    /// Discards the partial chunk.
    void reset();

  private:
    const std::uint32_t chunkSize_;
    std::vector<float> renderMixQueue_;      // interleaved, from index 0
    std::int64_t renderChunkSampleTime_ = 0; // frames gathered
};

} // namespace orb
