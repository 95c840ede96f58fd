// SPDX-License-Identifier: MIT
#include "platform/foundation/coding/Base64.h"

#include <gtest/gtest.h>

#include <vector>

namespace foundation {
namespace {

TEST(Base64Test, anyBytesComeBackFromThePaddedStandardAlphabet) {
    const std::vector<std::pair<std::string, std::string>> known{
        {"", ""}, {"f", "Zg=="}, {"fo", "Zm8="}, {"foo", "Zm9v"}, {"\xFB\xFF\xFE", "+//+"}, {"{}", "e30="}};
    for (const auto& [bytes, text] : known) {
        EXPECT_EQ(base64(Data{bytes}), text);
        EXPECT_EQ(dataFromBase64(text), Data{bytes});
    }
    std::string bytes;
    for (int i = 0; i < 1000; ++i) {
        bytes += static_cast<char>(i * 37);
        ASSERT_EQ(dataFromBase64(base64(Data{bytes})), Data{bytes});
    }
}

TEST(Base64Test, aLaxReaderIsNotOurs) {
    using namespace std::string_literals;
    for (const std::string& text :
         {"Zm8"s, "Zg="s, "Zg==="s, "Zg==Zg=="s, "="s, "===="s, "A"s, "-__-"s, " Zm9v"s, "Zm9v\n"s, "Zm 9v"s,
          "Zh=="s, "Zm9="s, "Zm9v\0"s, "Zm\0v"s, "Zm9\xC3\xBC"s})
        EXPECT_EQ(dataFromBase64(text), std::nullopt) << text;
}

} // namespace
} // namespace foundation
