// SPDX-License-Identifier: MIT
#include "platform/foundation/coding/UUID.h"

#include <gtest/gtest.h>

#include <unordered_set>

namespace foundation {
namespace {

constexpr const char* text = "3F2504E0-4F89-41D3-9A0C-0305E82C3301";

TEST(UUIDTest, eitherLetterCaseIsReadAndUpperCaseWritten) {
    const auto uuid = UUID::fromString("3f2504e0-4f89-41D3-9a0c-0305E82c3301");
    ASSERT_TRUE(uuid);
    EXPECT_EQ(uuid->string(), text);
    EXPECT_EQ(uuid, UUID::fromString(text));
    EXPECT_EQ(uuid->bytes().front(), 0x3F);
    EXPECT_EQ(uuid->bytes().back(), 0x01);
}

TEST(UUIDTest, noOtherFormPasses) {
    std::string wrong = text;
    for (std::size_t i = 0; i < wrong.size(); ++i) {
        for (const char c : {'-', 'g', '/', ':', '@', '`', '\0', '\xC3', ' '}) {
            if (c == text[i])
                continue;
            wrong[i] = c;
            EXPECT_EQ(UUID::fromString(wrong), std::nullopt) << wrong;
        }
        wrong[i] = text[i];
    }
    for (const std::string& form :
         {std::string(), wrong + "0", wrong.substr(1), "{" + wrong + "}", "{" + wrong.substr(2) + "}",
          std::string("3F2504E04F8941D39A0C0305E82C3301")})
        EXPECT_EQ(UUID::fromString(form), std::nullopt) << form;
}

TEST(UUIDTest, freshOnesAreRandomOfVersionFourAndDiffer) {
    std::unordered_set<UUID> seen;
    for (int i = 0; i < 1000; ++i) {
        const UUID uuid = UUID::random();
        EXPECT_EQ(uuid.string()[14], '4');
        EXPECT_NE(std::string("89AB").find(uuid.string()[19]), std::string::npos);
        EXPECT_TRUE(seen.insert(uuid).second);
    }
}

} // namespace
} // namespace foundation
