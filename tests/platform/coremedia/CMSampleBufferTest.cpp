// SPDX-License-Identifier: MIT
#include "platform/coremedia/CMSampleBuffer.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <tuple>
#include <utility>

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
    const auto changed = [](auto change) {
        Description description = packedFloatDescription(44100, 2);
        change(description);
        return description;
    };
    const std::pair<Description, bool> cases[] = {
        {packedFloatDescription(44100, 1), true},
        {packedFloatDescription(44100, 33), false},
        {packedFloatDescription(0, 2), false},
        {packedFloatDescription(std::nextafter(384000.0, 1e6), 2), false},
        {packedFloatDescription(std::numeric_limits<double>::quiet_NaN(), 2), false},
        {changed([](Description& d) { d.formatID = 0x61616320; }), false},
        {changed([](Description& d) { d.formatFlags |= 2; }), false},
        {changed([](Description& d) { d.bytesPerPacket = 16; }), false},
        {changed([](Description& d) { d.framesPerPacket = 2, d.bytesPerPacket = 16; }), false},
        {changed([](Description& d) { d.channelsPerFrame = 1; }), false},
        {changed([](Description& d) { d.bytesPerFrame = d.bytesPerPacket = 0; }), false},
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
    const auto format = formatOf(packedFloatDescription(44100, 2));
    const auto block = blockOf(64);
    std::shared_ptr<CMBlockBuffer> empty;
    ASSERT_EQ(CMBlockBufferCreateEmpty(1, kNow, empty), noErr);
    using Block = std::shared_ptr<const CMBlockBuffer>;
    using Format = std::shared_ptr<const CMAudioFormatDescription>;
    const std::tuple<Block, Format, int64_t, CMTime, OSStatus> cases[] = {
        {block, format, 8, kCMTimeZero, noErr},
        {nullptr, format, 8, kCMTimeZero, kCMSampleBufferRequiredParameterMissingErr},
        {block, nullptr, 8, kCMTimeZero, kCMSampleBufferRequiredParameterMissingErr},
        {block, format, 7, kCMTimeZero, kCMSampleBufferSizeMismatchErr},
        {block, format, 0, kCMTimeZero, kCMSampleBufferSizeMismatchErr},
        {block, format, -8, kCMTimeZero, kCMSampleBufferSizeMismatchErr},
        // Times the frame size these wrap around to 64 and to 0.
        {block, format, (int64_t{1} << 61) + 8, kCMTimeZero, kCMSampleBufferSizeMismatchErr},
        {empty, format, int64_t{1} << 61, kCMTimeZero, kCMSampleBufferSizeMismatchErr},
        {empty, format, 0, kCMTimeZero, kCMSampleBufferSizeMismatchErr},
        {blockOf(64, CMBlockBufferFlags::none), format, 8, kCMTimeZero, kCMSampleBufferBufferNotReadyErr},
        {block, format, 8, kCMTimeInvalid, kCMSampleBufferInvalidTimeStampErr},
        {block, format, 8, kCMTimePositiveInfinity, kCMSampleBufferInvalidTimeStampErr},
    };
    std::shared_ptr<const CMSampleBuffer> made;
    for (const auto& [data, layout, samples, time, expected] : cases) {
        EXPECT_EQ(CMAudioSampleBufferCreateReadyWithPacketDescriptions(data, layout, samples, time, made),
                  expected)
            << samples;
        EXPECT_EQ(made != nullptr, expected == noErr) << samples;
    }
}

} // namespace
} // namespace coremedia
