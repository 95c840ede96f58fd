// SPDX-License-Identifier: MIT
#include "platform/lmn/LMNSessionRunner.h"
#include "tests/platform/lmn/LMNTestWorld.h"
#include "tests/support/AllocationCounter.h"

#include <atomic>

namespace lmn {
namespace {

/// Compares the allocations of its thread between two calls, once all that is taken at first has been.
struct PeriodCounter {
    static constexpr int first = 50;
    static constexpr int last = 250;

    void count() {
        const int call = ++calls;
        if (call == first) {
            before = support::allocationsOfThisThread();
        } else if (call == last) {
            taken = support::allocationsOfThisThread() - before;
            isDone.store(true);
        }
    }

    int calls = 0;
    std::uint64_t before = 0;
    std::uint64_t taken = 0;
    std::atomic<bool> isDone = false;
};

class Counters final : public LMNTapDelegate, public LMNSessionRunnerDelegate {
  public:
    std::shared_ptr<LMNTapIOContext> createIOContext(LMNTap& tap, const LMNTapConfig& config) override {
        return std::make_shared<LMNTapIOContext>(tap, config, nullptr, [this](LMNBuffer& buffer) {
            loud += buffer.isSilence() ? 0 : 1;
            tapCounter.count();
        });
    }
    void sessionRunnerDidStart(LMNSessionRunner&, std::uint32_t, double) override {}
    void sessionRunnerDidStop(LMNSessionRunner&) override {}
    void performIOCycle(LMNSessionRunner&, std::int64_t) override { runnerCounter.count(); }

    PeriodCounter tapCounter;
    PeriodCounter runnerCounter;
    std::atomic<int> loud = 0;
};

TEST(LMNAllocationTest, aPeriodOfTapsAndRunnersAllocatesNothingOnceRunning) {
    constexpr std::uint32_t shortPeriod = 64; // frames, 1.5 ms
    dispatch::RealRealm realm;
    RosterWorld world(realm);
    const auto counters = std::make_shared<Counters>();
    LMNTapConfig config = tapOn(*world.device);
    config.frameCount = shortPeriod;
    config.sources[0].processReferences = {
        {{{std::string(LMNDeviceUIDKey), std::string(LMNStereoMixdownDeviceUID)}}}};
    LMNTap tap(world.system, config, nullptr);
    const auto runner = std::make_shared<LMNSessionRunner>(
        world.system, std::make_shared<LMNDispatchQueue>(realm, "render"), shortPeriod, rate);
    tap.setDelegate(counters);
    runner->setDelegate(counters);
    tap.start();
    runner->start();

    // One player lasts, the other runs dry on the way.
    world.join(1).send(countingFrames(PlayerFifo::capacity));
    world.join(2).send(countingFrames(PlayerVoice::prefill));
    EXPECT_TRUE(runUntil(
        realm, [&] { return counters->tapCounter.isDone.load() && counters->runnerCounter.isDone.load(); }));
    EXPECT_EQ(counters->tapCounter.taken, 0U);
    EXPECT_EQ(counters->runnerCounter.taken, 0U);
    EXPECT_GE(counters->loud, PeriodCounter::last);
    EXPECT_EQ(world.roster->underruns(), 1U);
    runner->stop();
}

} // namespace
} // namespace lmn
