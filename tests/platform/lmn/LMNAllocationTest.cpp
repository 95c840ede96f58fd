// SPDX-License-Identifier: MIT
#include "platform/lmn/LMNSessionRunner.h"
#include "tests/platform/lmn/LMNTestWorld.h"
#include "tests/support/AllocationCounter.h"

#include <atomic>

namespace lmn {
namespace {

/// Compares the allocations of its thread between two calls, once all that is taken at first has been.
class PeriodCounter {
  public:
    static constexpr int first = 50;
    static constexpr int last = 250;

    void count() {
        const int call = ++calls_;
        if (call == first) {
            before_ = support::allocationsOfThisThread();
        } else if (call == last) {
            taken_ = support::allocationsOfThisThread() - before_;
            done_.store(true);
        }
    }

    bool isDone() const { return done_.load(); }
    std::uint64_t taken() const { return taken_; }

  private:
    int calls_ = 0;
    std::uint64_t before_ = 0;
    std::uint64_t taken_ = 0;
    std::atomic<bool> done_ = false;
};

class CountingTap final : public LMNTapDelegate {
  public:
    std::shared_ptr<LMNTapIOContext> createIOContext(LMNTap& tap, const LMNTapConfig& config) override {
        return std::make_shared<LMNTapIOContext>(tap, config, nullptr, [this](LMNBuffer& buffer) {
            loud += buffer.isSilence() ? 0 : 1;
            counter.count();
        });
    }

    PeriodCounter counter;
    std::atomic<int> loud = 0;
};

class CountingRunner final : public LMNSessionRunnerDelegate {
  public:
    void sessionRunnerDidStart(LMNSessionRunner&, std::uint32_t, double) override {}
    void sessionRunnerDidStop(LMNSessionRunner&) override {}
    void performIOCycle(LMNSessionRunner&, std::int64_t) override { counter.count(); }

    PeriodCounter counter;
};

TEST(LMNAllocationTest, aPeriodOfTapsAndRunnersAllocatesNothingOnceRunning) {
    constexpr std::uint32_t shortPeriod = 64; // frames, 1.5 ms
    dispatch::RealRealm realm;
    RosterWorld world(realm);
    const auto tapDelegate = std::make_shared<CountingTap>();
    const auto runnerDelegate = std::make_shared<CountingRunner>();

    LMNTapConfig config = tapOn(*world.device);
    config.frameCount = shortPeriod;
    config.sources[0].processReferences = {
        {{{std::string(LMNDeviceUIDKey), std::string(LMNStereoMixdownDeviceUID)}}}};
    LMNTap straight(world.system, config, nullptr);
    config.sources[0].channelMappings = {{1, 2}, {2, 1}};
    LMNTap swapped(world.system, config, nullptr);
    const auto runner = std::make_shared<LMNSessionRunner>(
        world.system, std::make_shared<LMNDispatchQueue>(realm, "render"), shortPeriod, rate);
    straight.setDelegate(tapDelegate);
    swapped.setDelegate(tapDelegate);
    runner->setDelegate(runnerDelegate);
    straight.start();
    runner->start();

    // One player lasts, the other runs dry on the way.
    world.join(1).send(countingFrames(PlayerFifo::capacity));
    world.join(2).send(countingFrames(PlayerVoice::prefill));
    EXPECT_TRUE(
        runUntil(realm, [&] { return tapDelegate->counter.isDone() && runnerDelegate->counter.isDone(); }));
    EXPECT_EQ(tapDelegate->counter.taken(), 0U);
    EXPECT_EQ(runnerDelegate->counter.taken(), 0U);
    EXPECT_GE(tapDelegate->loud, PeriodCounter::last);
    EXPECT_EQ(world.roster->underruns(), 1U);
    runner->stop();
}

} // namespace
} // namespace lmn
