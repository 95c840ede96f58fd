// SPDX-License-Identifier: MIT
#include "platform/dispatch/virtual/VirtualRealm.h"
#include "platform/foundation/NotificationCenter.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace foundation {
namespace {

using Journal = std::vector<std::string>;

TEST(NotificationCenterTest, observersAreCalledInOrderAndOnlyForTheirNameAndObject) {
    NotificationCenter center;
    Journal journal;
    const int first = 0;
    const int second = 0;
    const auto note = [&](std::string who) {
        return [&journal, who](const Notification& notification) {
            journal.push_back(who + " " + std::string(notification.userInfo.at("n").as_string()));
        };
    };
    const auto any = center.observe("Name", nullptr, nullptr, note("any"));
    const auto one = center.observe("Name", &first, nullptr, note("first"));
    const auto other = center.observe("Other", nullptr, nullptr, note("other"));
    const auto again = center.observe("Name", nullptr, nullptr, note("again"));
    center.post("Name", &first, {{"n", "1"}});
    center.post("Name", &second, {{"n", "2"}});
    center.post("Name", nullptr, {{"n", "3"}});
    center.post("Nobody's", nullptr, {{"n", "4"}});
    EXPECT_EQ(journal, (Journal{"any 1", "first 1", "again 1", "any 2", "again 2", "any 3", "again 3"}));
}

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
