// SPDX-License-Identifier: MIT
#include "platform/coremedia/CMSampleBuffer.h"

#include "tests/platform/coremedia/CountingAllocator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <memory>
#include <utility>
#include <vector>

namespace coremedia {
namespace {

constexpr auto kNow = CMBlockBufferFlags::assureMemoryNow;

std::shared_ptr<const CMAudioFormatDescription> formatOf(const AudioStreamBasicDescription& description) {
    std::shared_ptr<const CMAudioFormatDescription> format;
    EXPECT_EQ(CMAudioFormatDescriptionCreate(description, format), noErr);
    return format;
}

std::shared_ptr<CMBlockBuffer> blockOf(std::size_t length, CMBlockBufferFlags flags = kNow) {
    std::shared_ptr<CMBlockBuffer> buffer;
    EXPECT_EQ(CMBlockBufferCreateWithMemoryBlock(length, flags, buffer), noErr);
    return buffer;
}

TEST(CMAudioFormatDescriptionTest, everyFieldThatContradictsTheOthersIsRefused) {
    using Description = AudioStreamBasicDescription;
    constexpr uint32_t kPacked = kAudioFormatFlagIsPacked;
    const auto changed = [](auto change) {
        Description description = packedFloatDescription(44100, 2);
        change(description);
        return description;
    };
    const auto samples = [](uint32_t flags, uint32_t bits, uint32_t frameBytes) {
        return Description{48000, kAudioFormatLinearPCM, flags, frameBytes, 1, frameBytes, 2, bits};
    };
    const std::pair<Description, bool> cases[] = {
        {packedFloatDescription(44100, 1), true},
        {packedFloatDescription(384000, 32), true},
        {packedFloatDescription(0.5, 2), true},
        {packedFloatDescription(44100, 0), false},
        {packedFloatDescription(44100, 33), false},
        {packedFloatDescription(44100, std::numeric_limits<uint32_t>::max()), false},
        {packedFloatDescription(0, 2), false},
        {packedFloatDescription(-44100, 2), false},
        {packedFloatDescription(std::nextafter(384000.0, 1e6), 2), false},
        {packedFloatDescription(std::numeric_limits<double>::infinity(), 2), false},
        {packedFloatDescription(std::numeric_limits<double>::quiet_NaN(), 2), false},
        {changed([](Description& d) { d.formatID = 0x61616320; }), false},
        {changed([](Description& d) { d.formatFlags |= 2; }), false},
        {changed([](Description& d) { d.bytesPerPacket = 16; }), false},
        {changed([](Description& d) { d.framesPerPacket = 0; }), false},
        {changed([](Description& d) { d.framesPerPacket = 2, d.bytesPerPacket = 16; }), false},
        {changed([](Description& d) { d.channelsPerFrame = 1; }), false},
        {changed([](Description& d) { d.bytesPerFrame = d.bytesPerPacket = 0; }), false},
        {samples(kPacked | kAudioFormatFlagIsFloat, 64, 16), true},
        {samples(kPacked | kAudioFormatFlagIsFloat, 16, 4), false},
        {samples(kPacked, 16, 4), true},
        {samples(kPacked, 24, 6), true},
        {samples(kPacked, 24, 8), false},
        {samples(kPacked, 12, 3), false},
        {samples(kPacked, 0, 0), false},
        {samples(0, 24, 8), true},
        {samples(0, 24, 7), false},
        {samples(0, 24, 4), false},
        {samples(0, 24, 18), false},
    };
    const auto stale = formatOf(packedFloatDescription(8000, 1));
    for (const auto& [description, accepted] : cases) {
        auto format = stale;
        EXPECT_EQ(CMAudioFormatDescriptionCreate(description, format),
                  accepted ? noErr : kCMFormatDescriptionInvalidParameterErr)
            << "case " << &description - &cases[0].first;
        ASSERT_EQ(format != nullptr, accepted);
        EXPECT_TRUE(!accepted || format->streamBasicDescription() == description);
    }
}

TEST(CMSampleBufferTest, eachWrongArgumentIsRefusedWithItsOwnStatus) {
    constexpr int64_t kMax = std::numeric_limits<int64_t>::max();
    const auto format = formatOf(packedFloatDescription(44100, 2));
    const auto block = blockOf(64);
    std::shared_ptr<CMBlockBuffer> empty;
    ASSERT_EQ(CMBlockBufferCreateEmpty(1, kNow, empty), noErr);
    struct Case {
        std::shared_ptr<const CMBlockBuffer> data;
        std::shared_ptr<const CMAudioFormatDescription> format;
        int64_t samples;
        CMTime time;
        OSStatus expected;
    };
    const Case cases[] = {
        {block, format, 8, kCMTimeZero, noErr},
        {nullptr, format, 8, kCMTimeZero, kCMSampleBufferRequiredParameterMissingErr},
        {block, nullptr, 8, kCMTimeZero, kCMSampleBufferRequiredParameterMissingErr},
        {block, format, 7, kCMTimeZero, kCMSampleBufferSizeMismatchErr},
        {block, format, 9, kCMTimeZero, kCMSampleBufferSizeMismatchErr},
        {block, format, 0, kCMTimeZero, kCMSampleBufferSizeMismatchErr},
        {block, format, -8, kCMTimeZero, kCMSampleBufferSizeMismatchErr},
        // Times the frame size these wrap around to 64 and to 0.
        {block, format, (int64_t{1} << 61) + 8, kCMTimeZero, kCMSampleBufferSizeMismatchErr},
        {empty, format, int64_t{1} << 61, kCMTimeZero, kCMSampleBufferSizeMismatchErr},
        {block, format, kMax, kCMTimeZero, kCMSampleBufferSizeMismatchErr},
        {blockOf(63), format, 7, kCMTimeZero, kCMSampleBufferSizeMismatchErr},
        {empty, format, 0, kCMTimeZero, kCMSampleBufferSizeMismatchErr},
        {blockOf(64, CMBlockBufferFlags::none), format, 8, kCMTimeZero, kCMSampleBufferBufferNotReadyErr},
        {block, format, 8, kCMTimeInvalid, kCMSampleBufferInvalidTimeStampErr},
        {block, format, 8, kCMTimeIndefinite, kCMSampleBufferInvalidTimeStampErr},
        {block, format, 8, kCMTimePositiveInfinity, kCMSampleBufferInvalidTimeStampErr},
    };
    std::shared_ptr<const CMSampleBuffer> made;
    for (const Case& test : cases) {
        EXPECT_EQ(CMAudioSampleBufferCreateReadyWithPacketDescriptions(test.data, test.format, test.samples,
                                                                       test.time, made),
                  test.expected)
            << "case " << &test - cases;
        EXPECT_EQ(made != nullptr, test.expected == noErr) << "case " << &test - cases;
    }
}

TEST(CMSampleBufferTest, durationIsExactAtWholeRatesAndNearAtOthers) {
    const auto durationAt = [](double rate) {
        std::shared_ptr<const CMSampleBuffer> buffer;
        EXPECT_EQ(CMAudioSampleBufferCreateReadyWithPacketDescriptions(
                      blockOf(1000 * sizeof(float)), formatOf(packedFloatDescription(rate, 1)), 1000,
                      CMTimeMake(5, 7), buffer),
                  noErr);
        EXPECT_EQ(CMSampleBufferGetNumSamples(*buffer), 1000);
        EXPECT_TRUE(CMSampleBufferGetPresentationTimeStamp(*buffer) == CMTimeMake(5, 7));
        return CMSampleBufferGetDuration(*buffer);
    };
    EXPECT_TRUE(durationAt(384000) == CMTimeMake(1, 384));
    EXPECT_FALSE(hasBeenRounded(durationAt(44100)));
    EXPECT_TRUE(durationAt(0.5) == CMTimeMake(2000, 1));
    EXPECT_TRUE(hasBeenRounded(durationAt(44055.944)));
    EXPECT_NEAR(CMTimeGetSeconds(durationAt(44055.944)), 1000 / 44055.944, 1.0 / kCMTimeAudioTimescale);
}

// What an audio thread does for each chunk, all of it from one allocator.
OSStatus makeChunk(CMAllocator& allocator, std::shared_ptr<const CMSampleBuffer>& out) {
    constexpr std::size_t kBytes = 65536;
    static const auto format = formatOf(packedFloatDescription(44100, 2));
    static const std::vector<float> samples(kBytes / sizeof(float), 0.25F);
    std::shared_ptr<CMBlockBuffer> chunk;
    std::shared_ptr<CMBlockBuffer> block;
    OSStatus status = CMBlockBufferCreateEmpty(1, kNow, chunk, &allocator);
    if (status == noErr) {
        status = CMBlockBufferCreateWithMemoryBlock(kBytes, kNow, block, &allocator);
    }
    if (status == noErr) {
        status = CMBlockBufferReplaceDataBytes(samples.data(), block, 0, kBytes);
    }
    if (status == noErr) {
        status = CMBlockBufferAppendBufferReference(chunk, block, 0, kBytes, kNow);
    }
    if (status == noErr) {
        status = CMAudioSampleBufferCreateReadyWithPacketDescriptions(chunk, format, 8192, kCMTimeZero, out,
                                                                      &allocator);
    }
    return status;
}

TEST(CMSampleBufferTest, aChunkCostsFourAllocationsAndEachMayFailWithoutALeak) {
    const OSStatus expected[] = {
        kCMBlockBufferStructureAllocationFailedErr,
        kCMBlockBufferStructureAllocationFailedErr,
        kCMBlockBufferBlockAllocationFailedErr,
        kCMSampleBufferAllocationFailedErr,
        noErr,
    };
    for (std::size_t failing = 0; failing < std::size(expected); ++failing) {
        CountingAllocator allocator(failing);
        std::shared_ptr<const CMSampleBuffer> chunk;
        EXPECT_EQ(makeChunk(allocator, chunk), expected[failing]) << "request " << failing;
        ASSERT_EQ(chunk != nullptr, expected[failing] == noErr);
        if (chunk != nullptr) {
            // Nothing but the sample buffer keeps the samples now.
            float last = 0;
            const CMBlockBuffer& data = *CMSampleBufferGetDataBuffer(*chunk);
            const std::size_t offset = CMBlockBufferGetDataLength(data) - sizeof last;
            EXPECT_EQ(CMBlockBufferCopyDataBytes(data, offset, sizeof last, &last), noErr);
            EXPECT_EQ(last, 0.25F);
        }
        EXPECT_EQ(allocator.requests(), std::min<std::size_t>(failing + 1, 4));
        chunk.reset();
        EXPECT_EQ(allocator.liveBytes(), 0U);
    }
    CountingAllocator failingAtOnce(0);
    std::shared_ptr<const CMAudioFormatDescription> format;
    EXPECT_EQ(CMAudioFormatDescriptionCreate(packedFloatDescription(44100, 2), format, &failingAtOnce),
              kCMFormatDescriptionAllocationFailedErr);
}

} // namespace
} // namespace coremedia
