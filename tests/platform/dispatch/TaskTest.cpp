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

Task<> sleepAndTell(TaskTest& test, Nanoseconds duration) {
    test.journal.emplace_back("begins");
    try {
        co_await sleepFor(duration);
        test.journal.emplace_back("woke");
    } catch (const CancellationError&) {
        test.journal.push_back("cancelled at " + std::to_string(test.elapsed() / 1ms));
        throw;
    }
}

TEST_F(TaskTest, cancellationEndsASleepAtOnceAndASleepThatBeginsAfterwards) {
    onMain([&] {
        tasks.spawn(sleepAndTell(*this, 1h));
        EXPECT_TRUE(journal.empty()) << "the task must begin in a turn of its own";
    });
    realm.advanceBy(7ms);
    onMain([&] {
        tasks.spawn(sleepAndTell(*this, 0ns)); // cancelled before it begins
        tasks.cancel();
        EXPECT_EQ(journal.size(), 1U) << "the task must unwind in a turn of its own";
    });
    realm.settle();
    EXPECT_EQ(journal, (std::vector<std::string>{"begins", "begins", "cancelled at 7", "cancelled at 7"}));
    EXPECT_EQ(realm.armedTimers(), 0U);
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
