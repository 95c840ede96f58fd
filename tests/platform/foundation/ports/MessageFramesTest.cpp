// SPDX-License-Identifier: MIT
#include "platform/foundation/ports/MessageFrames.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace foundation {
namespace {

using Messages = std::vector<std::pair<std::int32_t, std::string>>;

std::string frame(std::int32_t messageID, const std::string& data) {
    return messageHeader(messageID, data.size()) + data;
}

void feed(MessageFrames& frames, std::string_view bytes) {
    frames.feed(std::as_bytes(std::span(bytes.data(), bytes.size())));
}

TEST(MessageFramesTest, lengthAndMessageIdAreLittleEndianAfterThePreface) {
    using namespace std::string_view_literals;
    Messages messages;
    MessageFrames frames([&](auto id, auto data) { messages.emplace_back(id, data); });
    feed(frames,
         "ORBPORT1\x03\x00\x00\x00\xFE\xFF\xFF\xFF"
         "abc\x00\x00\x00\x00\x04\x03\x02\x01"sv);
    EXPECT_EQ(messages, (Messages{{-2, "abc"}, {0x01020304, ""}}));
    EXPECT_EQ(frame(0x01020304, "abc"), "\x03\x00\x00\x00\x04\x03\x02\x01\x61\x62\x63"sv);
}

TEST(MessageFramesTest, whatBreaksTheFormatIsRefusedFromThenOnAndWhatCameBeforeIsKept) {
    const std::string preface(messagePreface);
    const std::string good = preface + frame(7, "x");
    const std::string largest = frame(8, std::string(maximumMessage, 'x'));
    const struct {
        std::string bytes;
        std::size_t messages;
    } rows[]{{"X", 0},
             {"ORBPORT2", 0},
             {good + messageHeader(0, maximumMessage + 1), 1},
             {good + std::string(8, '\xFF'), 1},
             {good + largest + messageHeader(0, maximumMessage + 1), 2}};
    for (const auto& row : rows) {
        std::size_t messages = 0;
        MessageFrames frames([&](auto, auto) { ++messages; });
        EXPECT_THROW(feed(frames, row.bytes), FramingError);
        EXPECT_THROW(feed(frames, frame(1, "")), FramingError);
        EXPECT_EQ(messages, row.messages);
        EXPECT_FALSE(frames.isBetweenFrames());
    }
}

} // namespace
} // namespace foundation
