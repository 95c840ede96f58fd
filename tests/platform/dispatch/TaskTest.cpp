// SPDX-License-Identifier: MIT
#include "platform/dispatch/TaskGroup.h"
#include "platform/dispatch/virtual/VirtualRealm.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace dispatch {
namespace {

using namespace std::chrono_literals;

class TaskTest : public testing::Test {
  public:
    /// Runs `action` as work of the main queue.
    void onMain(FunctionRef<void()> action) { realm.mainQueue().sync(action); }
    Nanoseconds elapsed() const { return realm.clock().now() - start; }

    VirtualRealm realm;
    const HostTime start = realm.clock().now();
    TaskGroup tasks{realm.mainQueue()};
    std::vector<std::string> journal;
};

Task<> tick(TaskTest& test, std::string name, Nanoseconds period, int rounds) {
    for (int round = 0; round < rounds; ++round) {
        co_await sleepFor(period);
        test.journal.push_back(name + std::to_string(test.elapsed() / 1ns));
    }
}

TEST_F(TaskTest, sleepersWakeAtTheExactNanosecondAndTiesInTheOrderOfGoingToSleep) {
    onMain([&] {
        tasks.spawn(tick(*this, "a", 3ns, 2));
        tasks.spawn(tick(*this, "b", 2ns, 3));
    });
    realm.advanceBy(5ns);
    EXPECT_EQ(journal, (std::vector<std::string>{"b2", "a3", "b4"}));
    realm.advanceBy(1ns);
    EXPECT_EQ(journal, (std::vector<std::string>{"b2", "a3", "b4", "a6", "b6"}));
    EXPECT_EQ(tasks.running(), 0U);
    EXPECT_EQ(realm.armedTimers(), 0U);
}

Task<> sleepAndTell(TaskTest& test, Nanoseconds duration) {
    try {
        co_await sleepFor(duration);
        test.journal.emplace_back("woke");
    } catch (const CancellationError&) {
        test.journal.push_back("cancelled at " + std::to_string(test.elapsed() / 1ms));
        throw;
    }
}

TEST_F(TaskTest, cancellationEndsASleepAtOnceAndASleepThatBeginsAfterwards) {
    onMain([&] { tasks.spawn(sleepAndTell(*this, 1h)); });
    realm.advanceBy(7ms);
    onMain([&] {
        tasks.spawn(sleepAndTell(*this, 0ns)); // cancelled before it begins
        tasks.cancel();
        EXPECT_TRUE(journal.empty()) << "the task must unwind in a turn of its own";
    });
    realm.settle();
    EXPECT_EQ(journal, (std::vector<std::string>{"cancelled at 7", "cancelled at 7"}));
    EXPECT_EQ(realm.armedTimers(), 0U);
}

Task<> tellAtOnce(TaskTest& test, std::string text) {
    test.journal.push_back(std::move(text));
    co_await throwIfCancelled();
    test.journal.emplace_back("not cancelled");
}

TEST_F(TaskTest, aTaskBeginsAfterTheTurnThatStartsItAndMayBeCancelledBefore) {
    onMain([&] {
        tasks.spawn(tellAtOnce(*this, "task"));
        journal.emplace_back("starter");
        tasks.cancel();
    });
    realm.settle();
    EXPECT_EQ(journal, (std::vector<std::string>{"starter", "task"}));
}

Task<> waitAt(TaskTest& test, WaitPoint& point, Nanoseconds patience) {
    const bool notified = co_await point.wait(test.realm.clock().now() + patience);
    test.journal.emplace_back(notified ? "notified" : "timed out");
}

TEST_F(TaskTest, ofNotificationDeadlineAndCancellationTheFirstWinsAndTheOthersAreNothing) {
    WaitPoint point(realm.mainQueue());
    const auto begin = [&] { onMain([&] { tasks.spawn(waitAt(*this, point, 10ms)); }); };
    begin();
    realm.advanceBy(5ms);
    onMain([&] {
        point.notify();
        tasks.cancel();
        point.notify();
    });
    realm.advanceBy(20ms);
    begin();
    realm.advanceBy(10ms);
    onMain([&] { point.notify(); });
    realm.advanceBy(20ms);
    EXPECT_EQ(journal, (std::vector<std::string>{"notified", "timed out"}));
    EXPECT_FALSE(point.isAwaited());
    EXPECT_EQ(realm.armedTimers(), 0U);
}

Task<> fail() {
    co_await sleepFor(1ms);
    throw std::runtime_error("unexpected");
}

TEST_F(TaskTest, anErrorThatNobodyHandlesStopsTheProcessWithItsText) {
    EXPECT_DEATH(
        {
            onMain([&] { tasks.spawn(fail()); });
            realm.advanceBy(1ms);
        },
        "a task of queue \"main\" failed: unexpected");
}

} // namespace
} // namespace dispatch
