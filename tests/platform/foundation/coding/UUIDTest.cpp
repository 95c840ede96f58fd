// SPDX-License-Identifier: MIT
#include "platform/foundation/coding/UUID.h"

#include <gtest/gtest.h>

namespace foundation {
namespace {

TEST(UUIDTest, eitherLetterCaseIsReadUpperCaseWrittenAndNoOtherFormPassesOrIsMade) {
    const std::string text = "3F2504E0-4F89-41D3-9A0C-0305E82C3301";
    const auto uuid = UUID::fromString("3f2504e0-4f89-41D3-9a0c-0305E82c3301");
    ASSERT_TRUE(uuid);
    EXPECT_EQ(uuid->string(), text);
    EXPECT_EQ(uuid->bytes().front(), 0x3F);
    EXPECT_EQ(uuid->bytes().back(), 0x01);
    for (std::size_t i = 0; i < text.size(); ++i) {
        for (const char c : {'-', 'g', '/', ':', '@', '`', '\0', '\xC3', ' '}) {
            std::string wrong = text;
            wrong[i] = c;
            EXPECT_EQ(UUID::fromString(wrong).has_value(), c == text[i]) << wrong;
        }
    }
    for (const std::string& form : {std::string(), text + "0", text.substr(1), "{" + text + "}",
                                    std::string("3F2504E04F8941D39A0C0305E82C3301")})
        EXPECT_EQ(UUID::fromString(form), std::nullopt) << form;
    const std::string fresh = UUID::random().string();
    EXPECT_EQ(fresh[14], '4');
    EXPECT_NE(std::string("89AB").find(fresh[19]), std::string::npos);
    EXPECT_NE(UUID::random().string(), fresh);
}

} // namespace
} // namespace foundation
