// SPDX-License-Identifier: MIT
#include "platform/lmn/LMNBuffer.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace lmn {
namespace {

/// Around the 64 samples that are looked at together, and none at all.
TEST(LMNBufferTest, oneSampleAnywhereBreaksTheSilenceFromItsThresholdOn) {
    const float peak = LMNBuffer::silencePeak;
    for (const auto& [channels, frames] : {std::pair(0U, 512U), {1U, 63U}, {2U, 32U}, {3U, 171U}}) {
        LMNBuffer buffer(channels, frames, 44100);
        EXPECT_TRUE(buffer.isSilence());
        for (std::uint32_t index = 0; index < channels * frames; ++index) {
            float& sample = buffer.samples()[index];
            const std::uint32_t frame = index / channels;
            sample = -0.0F;
            ASSERT_TRUE(buffer.isSilenceStrict(0));
            for (const float quiet : {peak, -peak}) {
                sample = quiet;
                ASSERT_TRUE(buffer.isSilence());
                ASSERT_FALSE(buffer.isSilenceStrict(frame));
                ASSERT_TRUE(buffer.isSilenceStrict(frame + 1));
            }
            for (const float loud :
                 {std::nextafter(peak, 1.0F), -1.0F, std::numeric_limits<float>::quiet_NaN()}) {
                sample = loud;
                ASSERT_FALSE(buffer.isSilence());
            }
            sample = 0;
        }
        EXPECT_TRUE(buffer.isSilenceStrict(frames + 1000));
    }
}

} // namespace
} // namespace lmn
