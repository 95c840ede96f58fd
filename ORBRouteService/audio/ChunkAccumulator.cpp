// SPDX-License-Identifier: MIT
#include "ORBRouteService/audio/ChunkAccumulator.h"

#include "platform/lmn/LMNTapConfig.h"

#include <algorithm>

namespace orb {
namespace {

constexpr std::size_t renderChannels = 2;

std::size_t floatsFor(std::uint32_t chunkSize, std::uint32_t deviceChannels) {
    const std::size_t least =
        (std::size_t{chunkSize} + lmn::LMNTapConfig::maximumFrameCount) * renderChannels;
    return std::max(std::size_t{chunkSize} * deviceChannels * 4, least);
}

} // namespace

ChunkAccumulator::ChunkAccumulator(std::uint32_t chunkSize, std::uint32_t deviceChannels)
    : chunkSize_(chunkSize), renderMixQueue_(floatsFor(chunkSize, deviceChannels)) {}

bool ChunkAccumulator::add(const lmn::LMNBuffer& buffer, lmn::LMNBuffer& chunk) {
    if (buffer.frameCount() == 0)
        return false;
    buffer.mixToInterleavedFloats(renderMixQueue_.data() +
                                  static_cast<std::size_t>(renderChunkSampleTime_) * buffer.channelCount());
    renderChunkSampleTime_ += buffer.frameCount();
    if (renderChunkSampleTime_ < std::int64_t{chunkSize_})
        return false;
    chunk.copyFromInterleavedFloats(renderMixQueue_.data());
    reset();
    return true;
}

void ChunkAccumulator::reset() {
    // What lies behind the gathered frames is zero already.
    const std::size_t used = static_cast<std::size_t>(renderChunkSampleTime_) * renderChannels;
    std::fill_n(renderMixQueue_.data(), used, 0.0F);
    renderChunkSampleTime_ = 0;
}

} // namespace orb
