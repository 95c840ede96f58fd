// SPDX-License-Identifier: MIT
#include "platform/lmn/LMNSessionRunner.h"
#include "tests/platform/lmn/LMNTestWorld.h"
#include "tests/support/LogCapture.h"

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

    /// The wake-up for period `at` comes `delay` late, the others on time.
    void delayWakeUp(std::size_t at, dispatch::Nanoseconds delay) {
        pacer.setWakeDelays([wakes = std::size_t{0}, at, delay]() mutable {
            return wakes++ == at ? delay : dispatch::Nanoseconds{0};
        });
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

TEST_F(LMNPacerTest, periodsComePunctuallyAndCaptureBeforeRenderWhicheverWasAddedFirst) {
    add('r');
    add('c');
    realm.advanceBy(10s);
    ASSERT_EQ(calls.size(), 2 * 861U);
    expectPairs(0, 0);
    for (const Call& call : calls) {
        ASSERT_EQ(call.now, call.due);
    }
    EXPECT_EQ(pacer.figures().periods, 861U);
    EXPECT_EQ(pacer.figures().late, 0U);
    EXPECT_EQ(pacer.figures().worstLateness, 0ns);
}

TEST_F(LMNPacerTest, noErrorAddsUpOverHours) {
    // Few and late wake-ups, each of which makes up for nearly a minute, keep this short.
    pacer.setWakeDelays([] { return 59s; });
    add('c');
    add('r');
    realm.advanceBy(2h);
    ASSERT_GT(calls.size(), 2U * 7100 * 86);
    expectPairs(0, 0);
}

TEST_F(LMNPacerTest, aWakeUpOneSecondLateRunsAllMissedPeriodsAtOnceEachAtItsOwnTime) {
    delayWakeUp(10, 1s);
    add('c');
    add('r');
    realm.advanceBy(5s);
    expectPairs(0, 0);
    const auto runAt = [&](dispatch::HostTime now) { return std::ranges::count(calls, now, &Call::now); };
    EXPECT_EQ(runAt(dueAfter(origin, 9)), 2);
    EXPECT_EQ(runAt(dueAfter(origin, 10) + 1s), 2 * 87); // what was missed in 1 s, and the one due
    EXPECT_EQ(runAt(dueAfter(origin, 97)), 2);
    EXPECT_EQ(pacer.figures().worstLateness, 1s);
    EXPECT_EQ(pacer.figures().late, 86U); // the last by a little more than a period
    EXPECT_EQ(pacer.figures().skipped, 0U);
}

TEST_F(LMNPacerTest, afterMoreThanAMinuteThePeriodsAreGivenUpAndTheGridStays) {
    const LogCapture log;
    delayWakeUp(10, 90s);
    add('c');
    add('r');
    realm.advanceBy(100s);
    const std::uint64_t skipped = pacer.figures().skipped;
    EXPECT_EQ(skipped, 7751U); // 90 s * 44100 / 512
    ASSERT_GT(calls.size(), 20U);
    EXPECT_EQ(calls[20].period, 10 + skipped);
    EXPECT_LT(calls[20].now - calls[20].due, dueAfter(origin, 1) - origin);
    EXPECT_GE(calls[20].now, calls[20].due);
    expectPairs(20, 10 + skipped);
    EXPECT_EQ(log.lines(),
              (std::vector<LogCapture::Line>{{4, "LMNPacer: woken 90.0 s late, 7751 periods given up\n"}}));
}

TEST_F(LMNPacerTest, anIdlePacerSleepsAndBeginsANewGridWhileItsPeriodsCountOn) {
    add('c', 3);
    realm.advanceBy(10s);
    EXPECT_EQ(calls.size(), 4U);
    EXPECT_EQ(realm.armedTimers(), 0U);
    const dispatch::HostTime again = realm.clock().now();
    add('r', 5);
    realm.advanceBy(1s);
    ASSERT_EQ(calls.size(), 6U);
    EXPECT_EQ(calls[4].period, 4U);
    EXPECT_EQ(calls[4].due, firstDue(again));
    EXPECT_EQ(calls[5].due, dueAfter(firstDue(again), 1));
}

} // namespace
} // namespace lmn
