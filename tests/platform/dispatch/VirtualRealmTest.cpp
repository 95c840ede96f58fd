// SPDX-License-Identifier: MIT
#include "platform/dispatch/virtual/VirtualRealm.h"

#include <gtest/gtest.h>

#include <random>

namespace dispatch {
namespace {

using namespace std::chrono_literals;

TEST(TimerHeapTest, randomArmingAndCancellingFiresWhatIsLeftInOrderOfDeadlineAndArming) {
    VirtualRealm realm;
    Queue& queue = realm.mainQueue();
    std::mt19937 random(7);
    for (int round = 0; round < 50; ++round) {
        std::vector<std::pair<HostTime, int>> expected;
        std::vector<int> fired;
        std::vector<std::unique_ptr<Timer>> timers;
        queue.sync([&] {
            for (int index = 0; index < 200; ++index) {
                timers.push_back(std::make_unique<Timer>(queue, [&fired, index] { fired.push_back(index); }));
                timers.back()->armAfter(Nanoseconds{1 + random() % 20});
                if (random() % 3 == 0)
                    timers[random() % timers.size()]->cancel();
            }
            for (int index = 0; index < 200; ++index)
                if (timers[static_cast<std::size_t>(index)]->isArmed())
                    expected.emplace_back(timers[static_cast<std::size_t>(index)]->deadline(), index);
        });
        std::ranges::stable_sort(expected, {}, &std::pair<HostTime, int>::first);
        realm.advanceBy(20ns);
        ASSERT_EQ(fired.size(), expected.size());
        for (std::size_t index = 0; index < fired.size(); ++index)
            EXPECT_EQ(fired[index], expected[index].second);
        queue.sync([&] { timers.clear(); });
    }
}

} // namespace
} // namespace dispatch
