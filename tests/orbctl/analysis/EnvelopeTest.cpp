// SPDX-License-Identifier: MIT
#include "orbctl/analysis/Envelope.h"

#include "tests/orbctl/sound/TestSounds.h"

#include <gtest/gtest.h>

namespace orbctl {
namespace {

using namespace test;

TEST(Envelope, keepsEveryPeakAtItsPlaceHoweverMuchIsMergedAndFed) {
    Samples sound = silence(100'000);
    const auto sampleOf = [](FrameNumber frame) { return static_cast<std::size_t>(frame) * channelCount; };
    sound[sampleOf(777) + 1] = 0.9F;
    sound[sampleOf(54'321)] = -0.8F;
    for (const std::size_t block : {std::size_t{1}, std::size_t{1021}, std::size_t{100'000}}) {
        Envelope envelope(64);
        for (std::size_t at = 0; at < sound.size(); at += block * channelCount)
            envelope.add(std::span(sound).subspan(at, std::min(block * channelCount, sound.size() - at)));
        EXPECT_EQ(envelope.frames(), 100'000);
        EXPECT_EQ(envelope.firstSound(), 777);
        ASSERT_EQ(envelope.framesPerBin(), 2048);
        ASSERT_EQ(envelope.bins().size(), 49U);
        for (std::size_t bin = 0; bin < envelope.bins().size(); ++bin) {
            EXPECT_EQ(envelope.bins()[bin].most, bin == 0 ? 0.9F : 0.0F) << bin;
            EXPECT_EQ(envelope.bins()[bin].least, bin == 26 ? -0.8F : 0.0F) << bin;
        }
    }
}

} // namespace
} // namespace orbctl
