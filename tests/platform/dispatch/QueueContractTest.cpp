// SPDX-License-Identifier: MIT
#include "platform/dispatch/Semaphore.h"
#include "platform/dispatch/TaskGroup.h"
#include "platform/dispatch/real/RealRealm.h"
#include "platform/dispatch/virtual/VirtualRealm.h"
#include "tests/support/runUntil.h"

#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <thread>

/// What every realm promises of its queues, run over both.
namespace dispatch {
namespace {

using namespace std::chrono_literals;

struct RealWorld {
    RealRealm realm;
    void runUntil(const std::function<bool()>& done) { ASSERT_TRUE(support::runUntil(realm, done)); }
};

struct VirtualWorld {
    VirtualRealm realm;
    void runUntil(const std::function<bool()>& done) { ASSERT_TRUE(realm.advanceUntil(done, 1h)); }
};

template <typename World>
class QueueContractTest : public testing::Test {
  public:
    World world;
};

using Worlds = testing::Types<RealWorld, VirtualWorld>;
TYPED_TEST_SUITE(QueueContractTest, Worlds);

TYPED_TEST(QueueContractTest, workRunsInOrderUntilTheQueueIsCancelledAndLetsNoCallerWait) {
    const auto queue = this->world.realm.makeQueue("serial");
    std::vector<int> order;
    for (int number = 0; number < 100; ++number)
        queue->async([&order, number] { order.push_back(number); });
    EXPECT_TRUE(queue->sync([&] { order.push_back(100); }));
    queue->cancel();
    queue->async([&] { order.push_back(-1); });
    EXPECT_FALSE(queue->sync([&] { order.push_back(-1); }));
    EXPECT_EQ(order.size(), 101U);
    EXPECT_TRUE(std::ranges::is_sorted(order));
}

Task<> takeAll(Semaphore& semaphore, int& taken, bool& ended) {
    for (;;) {
        const bool came = co_await semaphore.wait(200ms);
        if (!came)
            break;
        ++taken;
    }
    ended = true;
}

TYPED_TEST(QueueContractTest, noSignalOfASemaphoreIsLostOrCountedTwice) {
    const auto queue = this->world.realm.makeQueue("waiter");
    auto semaphore = std::make_unique<Semaphore>(*queue, 3);
    auto tasks = std::make_unique<TaskGroup>(*queue);
    int taken = 0;
    bool ended = false;
    queue->sync([&] { tasks->spawn(takeAll(*semaphore, taken, ended)); });
    for (int count = 0; count < 10'000; ++count)
        semaphore->signal();
    std::atomic<bool> done = false;
    this->world.runUntil([&] {
        queue->sync([&] { done = ended && tasks->running() == 0; });
        return done.load();
    });
    EXPECT_EQ(taken, 10'003);
    queue->sync([&] { tasks.reset(); });
}

TEST(RealQueueTest, manyThreadsMayUseOneQueueAtOnce) {
    RealRealm realm;
    const auto queue = realm.makeQueue("shared");
    int counter = 0; // owned by the queue: only its seriality keeps this from being a race
    Signal signal(*queue, [&] { ++counter; });
    std::vector<std::thread> threads;
    for (int index = 0; index < 4; ++index)
        threads.emplace_back([&] {
            for (int round = 0; round < 2000; ++round) {
                queue->async([&] { ++counter; });
                queue->sync([&] { ++counter; });
                signal.raise();
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    queue->sync([&] { EXPECT_GE(counter, 16'000); });
}

TEST(RealQueueTest, theThreadOfAQueueThatWentByItsOwnWorkDoesNotOutliveTheRealm) {
    std::atomic<bool> ended = false;
    std::latch destroyed(1);
    {
        RealRealm realm;
        std::unique_ptr<Queue> queue = realm.makeQueue("own");
        queue->async([&] {
            queue.reset();
            destroyed.count_down();
            for (int turn = 0; turn < 10'000; ++turn) // longer than a realm takes to go
                std::this_thread::yield();
            ended = true;
        });
        destroyed.wait();
    }
    EXPECT_TRUE(ended);
}

TEST(RealQueueTest, cancellingWhileCallersWaitReleasesThemAll) {
    RealRealm realm;
    for (int round = 0; round < 50; ++round) {
        const auto queue = realm.makeQueue("cancelled");
        std::latch started(3);
        std::vector<std::thread> callers;
        for (int caller = 0; caller < 3; ++caller)
            callers.emplace_back([&] {
                started.count_down();
                while (queue->sync([] {}))
                    continue;
            });
        started.wait();
        queue->cancel();
        for (std::thread& caller : callers)
            caller.join();
    }
}

} // namespace
} // namespace dispatch
