// SPDX-License-Identifier: MIT
#include "platform/foundation/Observable.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace foundation {
namespace {

// Interleaves: the first observer changes the value while it is told of a change.
TEST(ObservableTest, aChangeMadeByAnObserverReachesAllInTheOrderOfTheChanges) {
    Observable<int> value(0);
    std::vector<int> told, toldLate;
    Subscription late;
    const auto corrector = value.observe([&](int now) {
        if (now == 10) {
            value.set(5);
            EXPECT_EQ(value.get(), 5);
            late = value.observe([&](int later) { toldLate.push_back(later); });
        }
    });
    const auto observer = value.observe([&](int now) { told.push_back(now); });
    EXPECT_TRUE(value.set(10));
    EXPECT_FALSE(value.set(5)) << "it is that already";
    EXPECT_EQ(told, (std::vector{10, 5}));
    EXPECT_TRUE(toldLate.empty()) << "told of a change from before it observed";
}

TEST(ObservableTest, anObserverMayEndAnotherAndDestroyTheObservedObject) {
    auto value = std::make_unique<Observable<int>>(0);
    int others = 0;
    Subscription other;
    const auto destroyer = value->observe([&](int) {
        other.cancel();
        value.reset();
    });
    other = value->observe([&](int) { ++others; });
    value->set(1);
    EXPECT_EQ(value, nullptr);
    EXPECT_EQ(others, 0);
}

TEST(ObservableTest, twoSettersAreToldOneAfterTheOtherInTheOrderOfTheirChanges) {
    constexpr int changes = 2000;
    Observable<int> value(0);
    std::vector<int> told; // guarded by the promise under test: never two calls at once
    std::atomic<bool> inside = false;
    const auto observer = value.observe([&](int now) {
        EXPECT_FALSE(inside.exchange(true));
        told.push_back(now);
        inside = false;
    });
    const auto setter = [&] {
        for (int change = 0; change < changes; ++change) {
            const auto brief = value.observe([](int) {}, Initial::deliver);
            value.update([](int& now) { ++now; });
        }
    };
    std::thread one(setter), two(setter);
    one.join();
    two.join();
    ASSERT_EQ(told.size(), 2U * changes);
    for (int change = 0; change < 2 * changes; ++change) {
        ASSERT_EQ(told[change], change + 1);
    }
}

} // namespace
} // namespace foundation
