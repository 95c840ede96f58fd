// SPDX-License-Identifier: MIT
#include "ORBRouteService/audio/SampleBuffers.h"

#include "tests/platform/coremedia/CountingAllocator.h"
#include "tests/support/LogCapture.h"

#include <gtest/gtest.h>

#include <cstring>

namespace orb {
namespace {

using namespace coremedia;
using lmn::LMNBuffer;
using Lines = std::vector<lmn::LogCapture::Line>;

constexpr double rate = 44100;

LMNBuffer counting(std::uint32_t channels, std::uint32_t frames) {
    LMNBuffer chunk(channels, frames, rate);
    for (std::uint32_t index = 0; index < channels * frames; ++index) {
        chunk.samples()[index] = static_cast<float>(index);
    }
    return chunk;
}

/// The lines that a failure with this text leaves.
Lines failure(const std::string& text) {
    return text.empty() ? Lines{} : Lines{{4, "[Orbweaver] " + text + "\n"}};
}

TEST(SampleBuffersTest, aChunkBecomesASampleBufferOfItsFramesAtItsTime) {
    const lmn::LogCapture log;
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
    EXPECT_EQ(log.lines(), Lines{});
}

TEST(SampleBuffersTest, whicheverMemoryIsRefusedThereIsNoBufferTheStatusInTheLogAndNothingLeaks) {
    const auto format = makeRenderFormat(rate, nullptr);
    const std::vector<std::string> failures{
        fmt::format("Error creating empty CMBlockBuffer ({})", kCMBlockBufferStructureAllocationFailedErr),
        fmt::format("Error creating CMBlockBuffer with memory block ({})",
                    kCMBlockBufferStructureAllocationFailedErr),
        fmt::format("Error creating CMBlockBuffer with memory block ({})",
                    kCMBlockBufferBlockAllocationFailedErr),
        ""};
    for (std::size_t failing = 0; failing < failures.size(); ++failing) {
        const lmn::LogCapture log;
        CountingAllocator allocator(failing);
        EXPECT_EQ(makeSampleBuffer(counting(2, 512), format, kCMTimeZero, &allocator), nullptr) << failing;
        EXPECT_EQ(log.lines(), failure(failures[failing])) << failing;
        EXPECT_EQ(allocator.requests(), failing + 1) << "it went on";
        EXPECT_EQ(allocator.liveBytes(), 0U) << failing;
    }
    CountingAllocator allocator;
    EXPECT_NE(makeSampleBuffer(counting(2, 512), format, kCMTimeZero, &allocator), nullptr);
    EXPECT_EQ(allocator.requests(), failures.size()) << "a request that no row refuses";
}

TEST(SampleBuffersTest, aFormatThatCannotBeMadeIsLoggedWithItsStatus) {
    struct Row {
        double sampleRate;
        std::size_t failing;
        OSStatus status;
    };
    for (const Row& row : {Row{rate, 0, kCMFormatDescriptionAllocationFailedErr},
                           Row{0, CountingAllocator::kNever, kCMFormatDescriptionInvalidParameterErr}}) {
        const lmn::LogCapture log;
        CountingAllocator allocator(row.failing);
        EXPECT_EQ(makeRenderFormat(row.sampleRate, &allocator), nullptr);
        EXPECT_EQ(log.lines(),
                  failure(fmt::format("ORBMirrorDevice: Failed to create audio format description ({})",
                                      row.status)));
    }
}

TEST(SampleBuffersTest, whatNoBufferCanBeMadeOfGivesNoneAndSaysWhyWhereItShould) {
    struct Row {
        LMNBuffer chunk;
        bool hasFormat;
        CMTime time;
        std::string said;
    };
    const auto format = makeRenderFormat(rate, nullptr);
    const Row rows[] = {
        {counting(2, 512), false, kCMTimeZero,
         "ORBMirrorDevice: No audioFormatDescription available for enqueue"},
        {counting(0, 512), true, kCMTimeZero,
         fmt::format("Error creating CMBlockBuffer with memory block ({})",
                     kCMBlockBufferBadLengthParameterErr)},
        {counting(2, 0), false, kCMTimeZero, ""},
        {counting(1, 512), true, kCMTimeZero, ""},
        {counting(2, 512), true, kCMTimeInvalid, ""},
    };
    for (const Row& row : rows) {
        const lmn::LogCapture log;
        EXPECT_EQ(makeSampleBuffer(row.chunk, row.hasFormat ? format : nullptr, row.time, nullptr), nullptr);
        EXPECT_EQ(log.lines(), failure(row.said));
    }
}

} // namespace
} // namespace orb
