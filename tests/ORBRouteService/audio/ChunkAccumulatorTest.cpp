// SPDX-License-Identifier: MIT
#include "ORBRouteService/audio/ChunkAccumulator.h"

#include <gtest/gtest.h>

namespace orb {
namespace {

using lmn::LMNBuffer;

constexpr double rate = 44100;

/// Stereo frames that count on from `first`, the right channel negated.
LMNBuffer counting(std::uint32_t frames, float first) {
    LMNBuffer buffer(2, frames, rate);
    for (std::uint32_t frame = 0; frame < frames; ++frame) {
        buffer.samples()[2 * frame] = first + static_cast<float>(frame);
        buffer.samples()[2 * frame + 1] = -buffer.samples()[2 * frame];
    }
    return buffer;
}

struct Sizes {
    std::uint32_t chunk, cycle, channels;
};

class ChunkAccumulatorTest : public testing::TestWithParam<Sizes> {};

/// What the cycle that fills a chunk has beyond it is lost; the next chunk begins with the next cycle. A part
/// that is discarded before each leaves no trace.
TEST_P(ChunkAccumulatorTest, chunksHoldTheCyclesInOrderAndNothingOfTheChunkBefore) {
    const auto [size, cycle, channels] = GetParam();
    ChunkAccumulator accumulator(size, channels);
    LMNBuffer chunk(2, size, rate);
    float next = 1;
    const std::uint32_t cyclesPerChunk = (size + cycle - 1) / cycle;
    for (int count = 0; count < 3; ++count) {
        accumulator.add(counting(cycle, 7), chunk);
        accumulator.reset();
        const LMNBuffer wanted = counting(size, next);
        for (std::uint32_t number = 1; number <= cyclesPerChunk; ++number) {
            EXPECT_FALSE(accumulator.add(LMNBuffer(2, 0, rate), chunk)) << "a cycle without frames";
            ASSERT_EQ(accumulator.add(counting(cycle, next), chunk), number == cyclesPerChunk);
            next += static_cast<float>(cycle);
        }
        EXPECT_TRUE(std::equal(chunk.samples(), chunk.samples() + 2 * size, wanted.samples())) << count;
    }
}

INSTANTIATE_TEST_SUITE_P(Sizes, ChunkAccumulatorTest,
                         testing::Values(Sizes{8192, 512, 2}, Sizes{8192, 512, 0}, Sizes{1000, 512, 1},
                                         Sizes{513, 512, 2}, Sizes{512, 512, 8}, Sizes{1, 512, 1},
                                         Sizes{8192, 7, 2}));

} // namespace
} // namespace orb
