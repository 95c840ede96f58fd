// SPDX-License-Identifier: MIT
#include "platform/lmn/LMNBuffer.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>
#include <numeric>

namespace lmn {
namespace {

using testing::Each;
using testing::ElementsAreArray;

/// Around the 64 samples that are looked at together, and none at all.
class LMNBufferTest : public testing::TestWithParam<std::pair<std::uint32_t, std::uint32_t>> {
  protected:
    LMNBuffer buffer{GetParam().first, GetParam().second, 44100};
    const std::size_t count = std::size_t{GetParam().first} * GetParam().second;
    const std::span<float> samples{buffer.samples(), count};
};

INSTANTIATE_TEST_SUITE_P(Shapes, LMNBufferTest,
                         testing::Values(std::pair{0U, 512U}, std::pair{2U, 0U}, std::pair{1U, 63U},
                                         std::pair{2U, 32U}, std::pair{1U, 65U}, std::pair{3U, 171U},
                                         std::pair{2U, 512U}));

TEST_P(LMNBufferTest, mixingAddsEverySampleAndCopyingReplacesIt) {
    std::vector<float> ramp(count);
    std::iota(ramp.begin(), ramp.end(), 1.0F);
    std::vector<float> twice = ramp;
    mixInto(twice, ramp);

    EXPECT_THAT(samples, Each(0.0F));
    buffer.mixFromInterleavedFloats(ramp.data());
    buffer.mixFromInterleavedFloats(ramp.data());
    EXPECT_THAT(samples, ElementsAreArray(twice));
    buffer.copyFromInterleavedFloats(ramp.data());
    buffer.applyGain(2);
    EXPECT_THAT(samples, ElementsAreArray(twice));
    std::vector<float> target = ramp;
    buffer.applyGain(0.5F);
    buffer.mixToInterleavedFloats(target.data());
    EXPECT_EQ(target, twice);
    buffer.mute();
    EXPECT_THAT(samples, Each(0.0F));
}

TEST_P(LMNBufferTest, oneSampleAnywhereBreaksTheSilenceFromItsThresholdOn) {
    const float peak = LMNBuffer::silencePeak;
    EXPECT_TRUE(buffer.isSilence());
    EXPECT_TRUE(buffer.isSilenceStrict(0));
    for (std::size_t index = 0; index < count; ++index) {
        const auto frame = static_cast<std::uint32_t>(index / buffer.channelCount());
        samples[index] = -0.0F;
        ASSERT_TRUE(buffer.isSilenceStrict(0));
        for (const float quiet : {peak, -peak}) {
            samples[index] = quiet;
            ASSERT_TRUE(buffer.isSilence());
            ASSERT_FALSE(buffer.isSilenceStrict(frame));
            ASSERT_TRUE(buffer.isSilenceStrict(frame + 1));
        }
        for (const float loud :
             {std::nextafter(peak, 1.0F), -1.0F, std::numeric_limits<float>::quiet_NaN()}) {
            samples[index] = loud;
            ASSERT_FALSE(buffer.isSilence());
            ASSERT_FALSE(buffer.isSilenceStrict(0));
        }
        samples[index] = 0;
    }
    EXPECT_TRUE(buffer.isSilenceStrict(buffer.frameCount() + 1000));
}

} // namespace
} // namespace lmn
