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
    Subscription elsewhere =
        center.observe("Name", nullptr, queue.get(), [&](const Notification&) { journal.push_back("a"); });
    Subscription onQueue =
        center.observe("Name", nullptr, queue.get(), [&](const Notification&) { journal.push_back("b"); });
    const auto kept = center.observe("Name", nullptr, queue.get(), [&](const Notification&) {
        EXPECT_TRUE(queue->isCurrent());
        journal.push_back("c");
    });
    queue->async([&] { onQueue = {}; });
    center.post("Name");
    elsewhere.cancel();
    EXPECT_TRUE(journal.empty());
    realm.settle();
    EXPECT_EQ(journal, Journal{"c"});
}

} // namespace
} // namespace foundation
