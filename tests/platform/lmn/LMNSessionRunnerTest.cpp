// SPDX-License-Identifier: MIT
#include "platform/lmn/LMNSessionRunner.h"
#include "tests/platform/lmn/LMNTestWorld.h"

#include <atomic>
#include <thread>

namespace lmn {
namespace {

using namespace std::chrono_literals;

/// Follows a runner's session, and finds fault with whatever comes out of order.
class Session final : public LMNSessionRunnerDelegate {
  public:
    explicit Session(const dispatch::Clock& clock) : clock_(clock) {}

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
        times.push_back(clock_.cycleTime());
        ++cycles;
    }

    std::vector<dispatch::HostTime> times;
    std::atomic<int> cycles = 0;
    std::atomic<int> outOfOrder = 0;
    int starts = 0;
    int stops = 0;

  private:
    const dispatch::Clock& clock_;
    bool running_ = false;
    std::int64_t nextSampleTime_ = 0;
};

class LMNSessionRunnerTest : public testing::Test {
  protected:
    LMNSessionRunnerTest() { runner->setDelegate(session); }

    dispatch::VirtualRealm realm;
    RosterWorld world{realm};
    const std::shared_ptr<LMNDispatchQueue> queue = std::make_shared<LMNDispatchQueue>(realm, "render");
    const std::shared_ptr<LMNSessionRunner> runner =
        std::make_shared<LMNSessionRunner>(world.system, queue, periodFrames, rate);
    const std::shared_ptr<Session> session = std::make_shared<Session>(realm.clock());
};

TEST_F(LMNSessionRunnerTest, cyclesComeOncePerPeriodBetweenDidStartAndDidStopOnly) {
    realm.advanceBy(1s);
    EXPECT_EQ(session->cycles, 0);
    const dispatch::HostTime origin = firstDue(realm.clock().now());
    runner->start();
    runner->start();
    realm.advanceUntil([&] { return session->cycles == 10; }, 1s);
    for (int restart = 0; restart < 3; ++restart) { // within a period
        runner->stop();
        runner->start();
    }
    realm.advanceBy(1s);
    EXPECT_EQ(session->starts, 4);
    ASSERT_EQ(session->cycles, 10 + 86);
    for (std::size_t cycle = 0; cycle < session->times.size(); ++cycle)
        EXPECT_EQ(session->times[cycle], dueAfter(origin, static_cast<std::int64_t>(cycle)));
    runner->stop();
    runner->stop();
    realm.advanceBy(1s);
    EXPECT_EQ(session->cycles, 10 + 86);
    EXPECT_EQ(session->stops, 4);
    EXPECT_EQ(session->outOfOrder, 0);
    EXPECT_EQ(realm.armedTimers(), 0U);
}

TEST(LMNSessionRunnerStressTest, startsAndStopsFromSeveralThreadsKeepSessionsApart) {
    dispatch::RealRealm realm;
    RosterWorld world(realm);
    const auto queue = std::make_shared<LMNDispatchQueue>(realm, "render");
    const auto session = std::make_shared<Session>(realm.clock());
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
