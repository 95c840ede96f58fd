// SPDX-License-Identifier: MIT
#include "platform/foundation/coding/JSONCoder.h"
#include "tests/platform/foundation/coding/decodingFailure.h"

#include <gtest/gtest.h>

#include <map>
#include <vector>

namespace foundation {
namespace {

using Texts = std::map<std::string, std::string>;

std::string nested(std::size_t depth) { return std::string(depth, '[') + std::string(depth, ']'); }

TEST(JSONCoderTest, whatIsNoJSONTextIsCorruptedData) {
    using namespace std::string_literals;
    for (const std::string& text :
         {""s, " "s, "{"s, "nul"s, "{}x"s, "{} {}"s, "{}\0"s, "[1,]"s, "{'a':1}"s, "// c\n{}"s,
          "\xEF\xBB\xBF{}"s, "{\"a\":\"\xFF\"}"s, "{\"a\":\"\xC0\xAF\"}"s, "{\"a\":\"\xED\xA0\x80\"}"s,
          R"({"a":"\ud800"})"s, "{\"a\":\"\n\"}"s})
        EXPECT_TRUE(decodingFailure<Texts>(text).starts_with("data corrupted: Not a JSON text: ")) << text;
}

TEST(JSONCoderTest, depthIsBoundedAlsoUnderKeysThatNobodyReads) {
    using Numbers = std::vector<std::int64_t>;
    EXPECT_EQ(decodingFailure<Numbers>(nested(JSONDocument::maximumDepth)),
              "type mismatch at [0]: Expected an integer of 64 bits, found an array.");
    for (const std::size_t depth :
         {JSONDocument::maximumDepth + 1, std::size_t{10'000}, std::size_t{5'000'000}})
        EXPECT_TRUE(decodingFailure<Numbers>(nested(depth)).starts_with("data corrupted: ")) << depth;
}

TEST(JSONCoderTest, aTextThatIsNoUTF8StillMakesAReadableMessage) {
    const std::vector<std::pair<std::string, std::string>> texts{
        {"a\xFFz", "a\xEF\xBF\xBDz"}, {"\xC3", "\xEF\xBF\xBD"}, {"\xED\xA0\x80ü", "���ü"}, {"🎵", "🎵"}};
    for (const auto& [text, readable] : texts)
        EXPECT_EQ(decodeJSON<std::string>(encodeJSON(text)), readable);
}

} // namespace
} // namespace foundation
