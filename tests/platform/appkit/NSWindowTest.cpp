// SPDX-License-Identifier: MIT
#include "platform/appkit/NSWindow.h"

#include "platform/dispatch/virtual/VirtualRealm.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace appkit {
namespace {

using namespace accessibility;

struct Content final : NSViewController {
    void loadView(AXTreeElement& view) override { shown = &view.add(AXTableRole); }
    void unloadView() override { shown = nullptr; }
    AXTreeElement* shown = nullptr;
};

struct NSWindowTest : testing::Test {
    dispatch::VirtualRealm realm;
    AXTreeElement element{"AXApplication"};
    NSApplication application{{realm, element, {}}};
};

TEST_F(NSWindowTest, titleContentAndFrontComeTogetherInAnyOrderAndGoTogether) {
    std::vector<int> steps{0, 1, 2};
    do {
        realm.mainQueue().sync([&] {
            NSWindow older(application);
            NSWindow window(application);
            older.orderFront();
            const auto content = std::make_shared<Content>();
            for (const int step : steps) {
                step == 0   ? window.setTitle("T")
                : step == 1 ? window.setContentViewController(content)
                            : window.orderFront();
            }
            ASSERT_EQ(element.children().size(), 2U);
            EXPECT_EQ(element.children()[0]->handle().copyAttributeValue(AXTitle), AXValue("T"));
            const auto& parts = element.children()[0]->children();
            EXPECT_EQ(parts.at(0)->handle().copyAttributeValue(AXValueAttribute), AXValue("T"));
            EXPECT_EQ(parts.at(1)->children().at(0).get(), content->shown);
            window.close();
            EXPECT_EQ(element.children().size(), 1U);
            EXPECT_EQ(content->shown, nullptr);
            EXPECT_EQ(content.use_count(), 1);
        });
    } while (std::ranges::next_permutation(steps).found);
}

} // namespace
} // namespace appkit
