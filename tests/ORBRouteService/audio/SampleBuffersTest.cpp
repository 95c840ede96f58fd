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

LMNBuffer counting(std::uint32_t channels, std::uint32_t frames) {
    LMNBuffer chunk(channels, frames, rate);
    for (std::uint32_t index = 0; index < channels * frames; ++index)
        chunk.samples()[index] = static_cast<float>(index);
    return chunk;
}

TEST(SampleBuffersTest, aChunkBecomesASampleBufferOfItsFramesAtItsTime) {
    const auto format = makeRenderFormat(rate, nullptr);
    ASSERT_NE(format, nullptr);
    EXPECT_EQ(format->streamBasicDescription(), packedFloatDescription(rate, 2));
    LMNBuffer chunk = counting(2, 8192);
    const CMTime time = CMTimeMake(5, 44100);
    const auto buffer = makeSampleBuffer(chunk, format, time, nullptr);
    ASSERT_NE(buffer, nullptr);
    const std::vector<float> wanted(chunk.samples(), chunk.samples() + 2 * 8192);
    chunk.mute();
    std::vector<float> samples(2 * 8192);
    ASSERT_EQ(CMBlockBufferCopyDataBytes(*CMSampleBufferGetDataBuffer(*buffer), 0, sizeof(float) * 2 * 8192,
                                         samples.data()),
              noErr);
    EXPECT_EQ(samples, wanted) << "the buffer shares the chunk's memory";
    EXPECT_EQ(CMSampleBufferGetPresentationTimeStamp(*buffer), time);
    EXPECT_EQ(CMSampleBufferGetDuration(*buffer), CMTimeMake(8192, 44100));
    EXPECT_EQ(CMSampleBufferGetFormatDescription(*buffer), format);
}

TEST(SampleBuffersTest, whatNoBufferCanBeMadeOfGivesNoneAndLeaksNothing) {
    const auto format = makeRenderFormat(rate, nullptr);
    EXPECT_EQ(makeRenderFormat(0, nullptr), nullptr);
    for (std::size_t failing = 0; failing <= 4; ++failing) {
        CountingAllocator allocator(failing);
        EXPECT_EQ(makeSampleBuffer(counting(2, 512), format, kCMTimeZero, &allocator) == nullptr,
                  failing < 4);
        EXPECT_EQ(allocator.requests(), std::min<std::size_t>(failing + 1, 4)) << "it went on";
        EXPECT_EQ(allocator.liveBytes(), 0U) << failing;
    }
    const lmn::LogCapture log;
    EXPECT_EQ(makeSampleBuffer(counting(2, 512), nullptr, kCMTimeZero, nullptr), nullptr);
    EXPECT_EQ(log.count(4, "No audioFormatDescription available for enqueue"), 1U);
    EXPECT_EQ(makeSampleBuffer(counting(0, 512), format, kCMTimeZero, nullptr), nullptr);
    EXPECT_EQ(makeSampleBuffer(counting(2, 0), format, kCMTimeZero, nullptr), nullptr);
    EXPECT_EQ(makeSampleBuffer(counting(1, 512), format, kCMTimeZero, nullptr), nullptr);
    EXPECT_EQ(makeSampleBuffer(counting(2, 512), format, kCMTimeInvalid, nullptr), nullptr);
}

} // namespace
} // namespace orb
