// SPDX-License-Identifier: MIT
#include "platform/lmn/LMNSessionRunner.h"
#include "tests/platform/lmn/LMNTestWorld.h"

#include <atomic>
#include <thread>

namespace lmn {
namespace {

/// Follows a runner's session, and finds fault with whatever comes out of order.
class Session final : public LMNSessionRunnerDelegate {
  public:
    void sessionRunnerDidStart(LMNSessionRunner&, std::uint32_t, double) override {
        outOfOrder += running_ ? 1 : 0;
        running_ = true;
        nextSampleTime_ = 0;
        ++starts;
    }

    void sessionRunnerDidStop(LMNSessionRunner&) override {
        outOfOrder += running_ ? 0 : 1;
        running_ = false;
        ++stops;
    }

    void performIOCycle(LMNSessionRunner& runner, std::int64_t sampleTime) override {
        outOfOrder += running_ && sampleTime == nextSampleTime_ ? 0 : 1;
        nextSampleTime_ = sampleTime + runner.frameCount();
        ++cycles;
    }

    std::atomic<int> cycles = 0;
    std::atomic<int> outOfOrder = 0;
    int starts = 0;
    int stops = 0;

  private:
    bool running_ = false;
    std::int64_t nextSampleTime_ = 0;
};

TEST(LMNSessionRunnerTest, startsAndStopsFromSeveralThreadsKeepSessionsApart) {
    dispatch::RealRealm realm;
    RosterWorld world(realm);
    const auto queue = std::make_shared<LMNDispatchQueue>(realm, "render");
    const auto session = std::make_shared<Session>();
    // Periods of 23 us, so that many cycles fall between the switches.
    const auto runner = std::make_shared<LMNSessionRunner>(world.system, queue, 1, rate);
    runner->setDelegate(session);
    const auto toggle = [&] {
        for (int round = 0; round < 1000; ++round) {
            runner->start();
            runner->stop();
        }
    };
    std::thread other(toggle);
    toggle();
    other.join();
    runner->start();
    EXPECT_TRUE(
        runUntil(realm, [&, before = session->cycles.load()] { return session->cycles > before + 50; }));
    runner->stop();
    queue->dispatchSyncImmed([&] { EXPECT_EQ(session->starts, session->stops); });
    EXPECT_EQ(session->outOfOrder, 0);
}

} // namespace
} // namespace lmn
