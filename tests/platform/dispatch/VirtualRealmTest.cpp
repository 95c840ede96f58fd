// SPDX-License-Identifier: MIT
#include "platform/dispatch/virtual/VirtualRealm.h"

#include <boost/asio/local/connect_pair.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>

#include <gtest/gtest.h>

#include <array>
#include <random>
#include <thread>

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

TEST(VirtualRealmTest, timeStandsStillUntilTheOutsideHasPaidWhatItOwes) {
    VirtualRealm realm;
    boost::asio::local::stream_protocol::socket inside(realm.mainQueue().ioContext());
    boost::asio::local::stream_protocol::socket outside(realm.mainQueue().ioContext());
    boost::asio::local::connect_pair(inside, outside);
    std::array<char, 1> byte{};
    bool arrived = false;
    boost::asio::async_read(inside, boost::asio::buffer(byte), [&](auto, auto) { arrived = true; });
    const auto debt = realm.awaitOutside("one byte", [&] { return arrived; });

    const HostTime before = realm.clock().now();
    HostTime arrivedAt{};
    std::thread sender([&] { boost::asio::write(outside, boost::asio::buffer("x", 1)); });
    ASSERT_TRUE(realm.advanceUntil(
        [&] {
            arrivedAt = realm.clock().now();
            return arrived;
        },
        1h));
    sender.join();
    EXPECT_EQ(arrivedAt, before);
}

} // namespace
} // namespace dispatch
