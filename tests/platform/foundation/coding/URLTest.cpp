// SPDX-License-Identifier: MIT
#include "platform/foundation/coding/URL.h"

#include <gtest/gtest.h>

namespace foundation {
namespace {

TEST(URLTest, fileURLsNamePathsAndOthersDoNot) {
    for (const char* path : {"/", "/Applications/Parent.app/", "/tmp/a b/ü%?#/x", "/\xFF"}) {
        const URL url = URL::forFile(path);
        EXPECT_EQ(URL::fromString(url.absoluteString()), url) << path;
        EXPECT_EQ(url.filePath(), path);
    }
    EXPECT_EQ(URL::fromString("file:///a%20b?c#d")->filePath(), "/a b");
    for (const char* other : {"https://a/b", "file:?", "file://elsewhere/a", "mailto:a@b", "x:"}) {
        const auto url = URL::fromString(other);
        ASSERT_TRUE(url) << other;
        EXPECT_FALSE(url->filePath()) << other;
    }
    for (const std::string& none :
         std::vector<std::string>{"", "/a", "a b:c", "1:", "file:///a b", std::string("x:\0", 3)}) {
        EXPECT_FALSE(URL::fromString(none)) << none;
    }
}

} // namespace
} // namespace foundation
