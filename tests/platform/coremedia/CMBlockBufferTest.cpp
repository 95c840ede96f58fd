// SPDX-License-Identifier: MIT
#include "platform/coremedia/CMBlockBuffer.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace coremedia {
namespace {

using Buffer = std::shared_ptr<CMBlockBuffer>;

constexpr auto kNow = CMBlockBufferFlags::assureMemoryNow;
constexpr auto kLater = CMBlockBufferFlags::none;
constexpr std::size_t kSizeMax = std::numeric_limits<std::size_t>::max();

Buffer emptyBuffer(std::size_t capacity = 1) {
    Buffer buffer;
    EXPECT_EQ(CMBlockBufferCreateEmpty(capacity, kLater, buffer), noErr);
    return buffer;
}

Buffer bufferOf(const std::string& text) {
    Buffer buffer;
    EXPECT_EQ(CMBlockBufferCreateWithMemoryBlock(text.size(), kNow, buffer), noErr);
    EXPECT_EQ(CMBlockBufferReplaceDataBytes(text.data(), buffer, 0, text.size()), noErr);
    return buffer;
}

std::string contents(const Buffer& buffer) {
    std::string text(CMBlockBufferGetDataLength(*buffer), '?');
    EXPECT_EQ(CMBlockBufferCopyDataBytes(*buffer, 0, text.size(), text.data()), noErr);
    return text;
}

TEST(CMBlockBufferTest, referencesShareMemoryAndOutliveTheirSource) {
    Buffer source = bufferOf("abcdefgh");
    const Buffer target = emptyBuffer();
    ASSERT_EQ(CMBlockBufferAppendBufferReference(target, source, 6, 2, kLater), noErr);
    ASSERT_EQ(CMBlockBufferAppendBufferReference(target, source, 0, 4, kLater), noErr);
    ASSERT_EQ(CMBlockBufferReplaceDataBytes("XY", source, 5, 2), noErr);
    EXPECT_EQ(contents(target), "Yhabcd") << "a write to the source must show";
    ASSERT_EQ(CMBlockBufferReplaceDataBytes("123", target, 1, 3), noErr);
    EXPECT_EQ(contents(source), "23cdeXY1") << "a write across references must reach each block";

    source.reset();
    EXPECT_EQ(contents(target), "Y123cd");
}

TEST(CMBlockBufferTest, referencesToReferencesSliceEverySegmentRight) {
    // Seven segments of growing length, hence some inline and some not; every range of them is taken.
    const Buffer source = emptyBuffer();
    std::string text;
    for (std::size_t length = 1; length <= 7; ++length) {
        const std::string part(length, static_cast<char>('a' + length));
        ASSERT_EQ(CMBlockBufferAppendBufferReference(source, bufferOf(part), 0, length, kLater), noErr);
        text += part;
    }
    for (std::size_t offset = 0; offset < text.size(); ++offset) {
        for (std::size_t length = 1; length <= text.size() - offset; ++length) {
            const Buffer target = emptyBuffer(length % 9);
            ASSERT_EQ(CMBlockBufferAppendBufferReference(target, source, offset, length, kLater), noErr);
            ASSERT_EQ(contents(target), text.substr(offset, length)) << offset << '+' << length;
            std::string copied(length, '?');
            ASSERT_EQ(CMBlockBufferCopyDataBytes(*source, offset, length, copied.data()), noErr);
            ASSERT_EQ(copied, text.substr(offset, length)) << offset << '+' << length;
            std::span<const std::byte> first;
            ASSERT_EQ(CMBlockBufferGetDataPointer(*target, 0, first), noErr);
            const std::size_t count = text.find_first_not_of(text[offset], offset) - offset;
            ASSERT_EQ(first.size(), std::min(count, length)) << offset << '+' << length;
            ASSERT_EQ(static_cast<char>(first.front()), text[offset]);
        }
    }
}

TEST(CMBlockBufferTest, badRangesAreRefusedByEveryOperationWithoutAChange) {
    struct Case {
        std::size_t offset;
        std::size_t length;
        OSStatus expected;
    };
    const Case cases[] = {
        {4, 1, kCMBlockBufferBadOffsetParameterErr},        {5, 1, kCMBlockBufferBadOffsetParameterErr},
        {kSizeMax, 2, kCMBlockBufferBadOffsetParameterErr}, {0, 0, kCMBlockBufferBadLengthParameterErr},
        {0, 5, kCMBlockBufferBadLengthParameterErr},        {3, 2, kCMBlockBufferBadLengthParameterErr},
        {1, kSizeMax, kCMBlockBufferBadLengthParameterErr}, // their sum wraps around to 0
    };
    const Buffer buffer = bufferOf("abcd");
    const Buffer target = emptyBuffer();
    char bytes[] = "unchanged";
    for (const Case& test : cases) {
        SCOPED_TRACE(testing::Message() << test.offset << '+' << test.length);
        EXPECT_EQ(CMBlockBufferReplaceDataBytes("12345678", buffer, test.offset, test.length), test.expected);
        EXPECT_EQ(CMBlockBufferCopyDataBytes(*buffer, test.offset, test.length, bytes), test.expected);
        EXPECT_EQ(CMBlockBufferAppendBufferReference(target, buffer, test.offset, test.length, kNow),
                  test.expected);
    }
    for (const std::size_t length : {std::size_t{0}, kCMBlockBufferMaximumLength + 1, kSizeMax}) {
        Buffer out = buffer;
        EXPECT_EQ(CMBlockBufferCreateWithMemoryBlock(length, kNow, out), kCMBlockBufferBadLengthParameterErr);
        EXPECT_EQ(out, nullptr) << "a stale result must not survive a failure";
    }
    EXPECT_EQ(CMBlockBufferAppendBufferReference(buffer, buffer, 0, 2, kLater),
              kCMBlockBufferBadPointerParameterErr);
    std::span<const std::byte> range;
    EXPECT_EQ(CMBlockBufferGetDataPointer(*buffer, 4, range), kCMBlockBufferBadOffsetParameterErr);
    EXPECT_EQ(CMBlockBufferGetDataPointer(*target, 0, range), kCMBlockBufferBadOffsetParameterErr);
    Buffer lazy;
    ASSERT_EQ(CMBlockBufferCreateWithMemoryBlock(5, kLater, lazy), noErr);
    EXPECT_EQ(CMBlockBufferCopyDataBytes(*lazy, 0, 1, bytes), kCMBlockBufferUnallocatedBlockErr);
    EXPECT_EQ(CMBlockBufferGetDataPointer(*lazy, 0, range), kCMBlockBufferUnallocatedBlockErr);
    EXPECT_EQ(contents(buffer), "abcd");
    EXPECT_STREQ(bytes, "unchanged");
    EXPECT_EQ(CMBlockBufferGetDataLength(*target), 0U);
}

} // namespace
} // namespace coremedia
