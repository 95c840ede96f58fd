// SPDX-License-Identifier: MIT
#include "platform/foundation/coding/Base64.h"

#include <gtest/gtest.h>

namespace foundation {
namespace {

TEST(Base64Test, aLaxReaderIsNotOurs) {
    using namespace std::string_literals;
    for (const std::string& text :
         {"Zm8"s, "Zg="s, "Zg==="s, "Zg==Zg=="s, "="s, "===="s, "A"s, "-__-"s, " Zm9v"s, "Zm9v\n"s, "Zm 9v"s,
          "Zh=="s, "Zm9="s, "Zm9v\0"s, "Zm\0v"s, "Zm9\xC3\xBC"s})
        EXPECT_EQ(dataFromBase64(text), std::nullopt) << text;
}

} // namespace
} // namespace foundation
