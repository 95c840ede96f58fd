// SPDX-License-Identifier: MIT
#include "platform/lmn/LMNSessionRunner.h"
#include "platform/lmn/LogCapture.h"
#include "tests/platform/lmn/LMNTestWorld.h"

namespace lmn {
namespace {

using namespace std::chrono_literals;

class LMNPacerTest : public testing::Test {
  protected:
    ~LMNPacerTest() override {
        queue->sync([this] { owned.reset(); });
    }

    struct Call {
        char stage;
        std::uint64_t period;
        dispatch::HostTime due;
        dispatch::HostTime cycleTime;
        dispatch::HostTime now;
    };

    /// Notes every call; ends after `last`.
    class Participant final : public PacedIO {
      public:
        Participant(LMNPacerTest& test, char stage, std::uint64_t last)
            : test_(test), stage_(stage), last_(last) {}
        bool perform(std::uint64_t period, dispatch::HostTime due) override {
            const dispatch::Clock& clock = test_.realm.clock();
            test_.calls.push_back({stage_, period, due, clock.cycleTime(), clock.now()});
            return period < last_;
        }

      private:
        LMNPacerTest& test_;
        const char stage_;
        const std::uint64_t last_;
    };

    void add(char stage, std::uint64_t last = UINT64_MAX) {
        queue->sync([&] {
            pacer.add(stage == 'c' ? LMNPacer::Stage::capture : LMNPacer::Stage::render,
                      std::make_shared<Participant>(*this, stage, last));
        });
    }

    /// The wake-up for period 10 comes `delay` late, the others on time.
    void delayWakeUp(dispatch::Nanoseconds delay) {
        pacer.setWakeDelays([wakes = 0, delay]() mutable { return wakes++ == 10 ? delay : 0ns; });
    }

    /// The calls of periods from `first` on come in pairs, capture before render, due when they should be.
    void expectPairs(std::size_t firstCall, std::uint64_t first) {
        for (std::size_t index = firstCall; index < calls.size(); ++index) {
            const std::uint64_t period = first + (index - firstCall) / 2;
            const dispatch::HostTime due = dueAfter(origin, static_cast<std::int64_t>(period));
            ASSERT_EQ(calls[index].stage, (index - firstCall) % 2 == 0 ? 'c' : 'r') << index;
            ASSERT_EQ(calls[index].period, period);
            ASSERT_EQ(calls[index].due, due);
            ASSERT_EQ(calls[index].cycleTime, due);
        }
    }

    dispatch::VirtualRealm realm;
    const std::unique_ptr<dispatch::Queue> queue = realm.makeQueue("io");
    std::unique_ptr<LMNPacer> owned = std::make_unique<LMNPacer>(*queue, periodFrames, rate);
    LMNPacer& pacer = *owned;
    const dispatch::HostTime origin = firstDue(realm.clock().now());
    std::vector<Call> calls;
};

TEST_F(LMNPacerTest, aWakeUpOneSecondLateRunsAllMissedPeriodsAtOnceEachAtItsOwnTime) {
    delayWakeUp(1s);
    add('r');
    add('c'); // comes first all the same
    realm.advanceBy(5s);
    expectPairs(0, 0);
    const std::size_t late = 2 * 87; // what was missed in 1 s, and the one due
    EXPECT_EQ(std::ranges::count(calls, dueAfter(origin, 10) + 1s, &Call::now), late);
    EXPECT_EQ(std::ranges::count_if(calls, [](const Call& call) { return call.now == call.due; }),
              calls.size() - late);
    EXPECT_EQ(pacer.figures().periods, 430U);
    EXPECT_EQ(pacer.figures().worstLateness, 1s);
    EXPECT_EQ(pacer.figures().late, 86U); // the last by a little more than a period
    EXPECT_EQ(pacer.figures().skipped, 0U);
}

TEST_F(LMNPacerTest, afterMoreThanAMinuteThePeriodsAreGivenUpAndTheGridStays) {
    const LogCapture log;
    delayWakeUp(90s);
    add('c');
    add('r');
    realm.advanceBy(100s);
    const std::uint64_t skipped = pacer.figures().skipped;
    EXPECT_EQ(skipped, 7751U); // 90 s * 44100 / 512
    ASSERT_GT(calls.size(), 20U);
    EXPECT_LT(calls[20].now - calls[20].due, dueAfter(origin, 1) - origin);
    EXPECT_GE(calls[20].now, calls[20].due);
    expectPairs(20, 10 + skipped);
    EXPECT_EQ(log.count(4, "7751 periods"), 1U);
}

} // namespace
} // namespace lmn
