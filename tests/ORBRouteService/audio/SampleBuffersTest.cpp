// SPDX-License-Identifier: MIT
#include "ORBRouteService/audio/SampleBuffers.h"

#include "platform/lmn/LogCapture.h"
#include "tests/platform/coremedia/CountingAllocator.h"

#include <gtest/gtest.h>

namespace orb {
namespace {

using namespace coremedia;
using lmn::LMNBuffer;

constexpr double rate = 44100;

TEST(SampleBuffersTest, whatNoBufferCanBeMadeOfGivesNoneAndLeaksNothing) {
    const auto format = makeRenderFormat(rate, nullptr);
    ASSERT_NE(format, nullptr);
    EXPECT_EQ(format->streamBasicDescription(), packedFloatDescription(rate, 2));
    EXPECT_EQ(makeRenderFormat(0, nullptr), nullptr);
    const auto chunk = [](std::uint32_t channels, std::uint32_t frames) {
        return LMNBuffer(channels, frames, rate);
    };
    for (std::size_t failing = 0; failing <= 4; ++failing) {
        CountingAllocator allocator(failing);
        EXPECT_EQ(makeSampleBuffer(chunk(2, 512), format, kCMTimeZero, &allocator) == nullptr, failing < 4);
        EXPECT_EQ(allocator.requests(), std::min<std::size_t>(failing + 1, 4)) << "it went on";
        EXPECT_EQ(allocator.liveBytes(), 0U) << failing;
    }
    const lmn::LogCapture log;
    EXPECT_EQ(makeSampleBuffer(chunk(2, 512), nullptr, kCMTimeZero, nullptr), nullptr);
    EXPECT_EQ(log.count(4, "No audioFormatDescription available for enqueue"), 1U);
    EXPECT_EQ(makeSampleBuffer(chunk(0, 512), format, kCMTimeZero, nullptr), nullptr);
    EXPECT_EQ(makeSampleBuffer(chunk(2, 0), format, kCMTimeZero, nullptr), nullptr);
    EXPECT_EQ(makeSampleBuffer(chunk(1, 512), format, kCMTimeZero, nullptr), nullptr);
    EXPECT_EQ(makeSampleBuffer(chunk(2, 512), format, kCMTimeInvalid, nullptr), nullptr);
}

} // namespace
} // namespace orb
