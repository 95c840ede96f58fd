// SPDX-License-Identifier: MIT
#include "ORBRouteService/devices/strippingProcessName.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace orb {
namespace {

TEST(strippingProcessNameTest, everyMentionOfThisProcessGoesAndNothingElse) {
    const std::string name = std::filesystem::read_symlink("/proc/self/exe").filename();
    ASSERT_GT(name.size(), 15U) << "as long as that, a name cut by the kernel would show";
    const std::string tag = " [" + name + "]";
    EXPECT_EQ(strippingProcessName("Kitchen" + tag), "Kitchen");
    EXPECT_EQ(strippingProcessName(tag + "Kit" + tag + tag + "chen"), "Kitchen");
    std::string otherCase = tag;
    otherCase[2] = 'O';
    for (const std::string& text : {std::string(), std::string("Kitchen [Other]"), "Kitchen" + otherCase,
                                    "[" + name + "]", " [" + name, "Kitchen [" + name.substr(0, 15) + "]"})
        EXPECT_EQ(strippingProcessName(text), text);
    const std::string split = " [" + name.substr(0, 3) + tag + name.substr(3) + "]";
    EXPECT_EQ(strippingProcessName(split), tag) << "what closes up is not looked at again";
}

} // namespace
} // namespace orb
