// SPDX-License-Identifier: MIT
#include "platform/dispatch/real/RealRealm.h"
#include "platform/dispatch/virtual/VirtualRealm.h"
#include "platform/foundation/NotificationCenter.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
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

// Interleaves: a handler changes who observes while a notification is being delivered.
TEST(NotificationCenterTest, aHandlerEndsItselfAndALaterOneAndAddsOneThatHearsOnlyTheNextPost) {
    NotificationCenter center;
    Journal journal;
    Subscription self, later, added;
    self = center.observe("Name", nullptr, nullptr, [&](const Notification&) {
        journal.push_back("self");
        self.cancel();
        later.cancel();
        added = center.observe("Name", nullptr, nullptr,
                               [&](const Notification&) { journal.push_back("added"); });
    });
    later =
        center.observe("Name", nullptr, nullptr, [&](const Notification&) { journal.push_back("later"); });
    center.post("Name");
    center.post("Name");
    EXPECT_EQ(journal, (Journal{"self", "added"}));
}

TEST(NotificationCenterTest, aPostFromAHandlerIsDeliveredWholeBeforeTheOuterOneGoesOn) {
    NotificationCenter center;
    Journal journal;
    const auto poster =
        center.observe("Outer", nullptr, nullptr, [&](const Notification&) { center.post("Inner"); });
    const auto inner =
        center.observe("Inner", nullptr, nullptr, [&](const Notification&) { journal.push_back("inner"); });
    const auto outer =
        center.observe("Outer", nullptr, nullptr, [&](const Notification&) { journal.push_back("outer"); });
    center.post("Outer");
    EXPECT_EQ(journal, (Journal{"inner", "outer"}));
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

TEST(NotificationCenterTest, aSubscriptionOutlivesItsCenterAndReplacingOneEndsTheOld) {
    auto center = std::make_unique<NotificationCenter>();
    int calls = 0;
    const auto count = [&](const Notification&) { ++calls; };
    Subscription subscription = center->observe("Old", nullptr, nullptr, count);
    subscription = center->observe("New", nullptr, nullptr, count);
    center->post("Old");
    EXPECT_EQ(calls, 0);
    center->post("New");
    EXPECT_EQ(calls, 1);
    center.reset();
    EXPECT_TRUE(subscription);
    subscription.cancel();
}

/// Two threads post and come and go while a queue of its own listens: each poster's numbers arrive in order,
/// none is lost or doubled.
TEST(NotificationCenterTest, twoPostersAndComingAndGoingObserversKeepEachPostersOrder) {
    constexpr std::int64_t posts = 500;
    dispatch::RealRealm realm;
    NotificationCenter center;
    const auto queue = realm.makeQueue("observer");
    std::map<std::int64_t, std::vector<std::int64_t>> heard;
    std::atomic<int> passing = 0;
    const auto steady = center.observe("Name", nullptr, queue.get(), [&](const Notification& notification) {
        heard[notification.userInfo.at("poster").as_int64()].push_back(
            notification.userInfo.at("n").as_int64());
    });
    const auto poster = [&](std::int64_t number) {
        for (std::int64_t n = 0; n < posts; ++n) {
            const auto brief =
                center.observe("Name", nullptr, nullptr, [&](const Notification&) { ++passing; });
            center.post("Name", nullptr, {{"poster", number}, {"n", n}});
        }
    };
    std::thread one(poster, 1), two(poster, 2);
    one.join();
    two.join();
    queue->sync([] {});
    for (const std::int64_t number : {1, 2}) {
        ASSERT_EQ(heard[number].size(), static_cast<std::size_t>(posts));
        EXPECT_TRUE(std::ranges::is_sorted(heard[number]));
    }
    EXPECT_GE(passing, 2 * posts);
}

} // namespace
} // namespace foundation
