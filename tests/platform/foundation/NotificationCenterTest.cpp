// SPDX-License-Identifier: MIT
#include "platform/dispatch/virtual/VirtualRealm.h"
#include "platform/foundation/NotificationCenter.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace foundation {
namespace {

using Journal = std::vector<std::string>;

TEST(NotificationCenterTest, whatIsUnderWayToAQueueIsNotDeliveredOnceTheSubscriptionHasEnded) {
    dispatch::VirtualRealm realm;
    NotificationCenter center;
    const auto queue = realm.makeQueue("observer");
    Journal journal;
    const auto note = [&](const char* name) {
        return center.observe("Name", nullptr, queue.get(), [&, name](const Notification&) {
            EXPECT_TRUE(queue->isCurrent());
            journal.emplace_back(name);
        });
    };
    Subscription elsewhere = note("a");
    Subscription onQueue = note("b");
    const auto kept = note("c");
    queue->async([&] { onQueue = {}; });
    center.post("Name");
    elsewhere.cancel();
    EXPECT_TRUE(journal.empty());
    realm.settle();
    EXPECT_EQ(journal, Journal{"c"});
}

} // namespace
} // namespace foundation
