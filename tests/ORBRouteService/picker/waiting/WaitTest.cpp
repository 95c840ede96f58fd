// SPDX-License-Identifier: MIT
#include "ORBRouteService/picker/waiting/awaitCondition.h"

#include "platform/dispatch/TaskGroup.h"
#include "platform/dispatch/virtual/VirtualRealm.h"

#include <gtest/gtest.h>

#include <string>

namespace orb {
namespace {

using namespace std::chrono_literals;
using dispatch::Nanoseconds;
using dispatch::Task;

/// What is asked: gives a value at the attempt `succeedsAt` (from 1; 0: never), each attempt taking
/// `duration`.
struct Question {
    int succeedsAt = 0;
    Nanoseconds duration{0};
    bool fails = false;
    int attempts = 0;
};

Task<std::optional<int>> attempt(Question& question) {
    ++question.attempts;
    if (question.fails)
        throw std::runtime_error("no answer");
    if (question.duration > Nanoseconds{0})
        co_await dispatch::sleepFor(question.duration);
    co_return question.attempts == question.succeedsAt ? std::optional<int>(question.attempts) : std::nullopt;
}

Task<bool> stillHolds(Question& question) {
    const std::optional<int> answer = co_await attempt(question);
    co_return !answer;
}

class WaitTest : public testing::Test {
  public:
    /// Waits by one of the two primitives; the outcome is a text, and when it came.
    Task<> wait(bool byCondition, WaitLimits limits) {
        const dispatch::HostTime start = realm.clock().now();
        try {
            std::optional<int> value;
            if (byCondition) {
                const std::function<Task<bool>()> condition = [this] { return stillHolds(question); };
                co_await awaitCondition(limits, condition);
                value = question.attempts;
            } else {
                const std::function<Task<std::optional<int>>()> body = [this] { return attempt(question); };
                value = co_await awaitResult(limits, body);
            }
            outcome = value ? std::to_string(*value) : "absent";
        } catch (const dispatch::CancellationError&) {
            outcome = "cancelled";
        } catch (const std::exception& error) {
            outcome = error.what();
        }
        took = realm.clock().now() - start;
    }

    void run(bool byCondition, double timeout, double sleep) {
        const WaitLimits limits{dispatch::Seconds{timeout}, dispatch::Seconds{sleep},
                                "selectDevice(device:)"};
        realm.mainQueue().sync([&] { tasks.spawn(wait(byCondition, limits)); });
    }

    dispatch::VirtualRealm realm;
    dispatch::TaskGroup tasks{realm.mainQueue()};
    Question question;
    std::string outcome;
    Nanoseconds took{-1};
};

constexpr const char* timedOut = "The operation “selectDevice(device:)” timed out.";

struct Row {
    Question question;
    double timeout;
    double sleep;
    std::string outcome;
    int attempts;
    Nanoseconds took;
};

class WaitTableTest : public WaitTest, public testing::WithParamInterface<std::tuple<Row, bool>> {};

TEST_P(WaitTableTest, endsAsItShouldAtTheExactTime) {
    const auto& [row, byCondition] = GetParam();
    question = row.question;
    run(byCondition, row.timeout, row.sleep);
    realm.advanceBy(60s);
    const bool boundary = row.outcome == "absent" && byCondition;
    EXPECT_EQ(outcome, boundary ? std::to_string(row.attempts) : row.outcome);
    EXPECT_EQ(question.attempts, row.attempts);
    EXPECT_EQ(took, row.took);
    EXPECT_EQ(realm.armedTimers(), 0U);
}

INSTANTIATE_TEST_SUITE_P(
    All, WaitTableTest,
    testing::Combine(testing::Values(Row{{.succeedsAt = 1}, 5.0, 0.1, "1", 1, 0ns},
                                     Row{{.succeedsAt = 4}, 5.0, 0.1, "4", 4, 300ms},
                                     Row{{}, 0.95, 0.1, timedOut, 10, 1s},
                                     Row{{.duration = 150ms}, 0.9, 0.1, timedOut, 4, 1s},
                                     Row{{.succeedsAt = 1, .duration = 6s}, 5.0, 0.1, timedOut, 1, 6s},
                                     Row{{.succeedsAt = 1}, -1.0, 0.1, timedOut, 0, 0ns},
                                     Row{{.succeedsAt = 1}, 0.0, 0.1, "absent", 0, 0ns},
                                     Row{{}, 1.0, 0.25, "absent", 4, 1s},
                                     Row{{.fails = true}, 5.0, 0.1, "no answer", 1, 0ns},
                                     Row{{.succeedsAt = 3}, 1e300, 1.0, "3", 3, 2s}),
                     testing::Bool()));

TEST_F(WaitTest, cancellationEndsASleepAtOnceAndAnAttemptWhenItHasEnded) {
    run(false, 5.0, 1.0);
    realm.advanceBy(1500ms);
    realm.mainQueue().sync([&] { tasks.cancel(); });
    realm.settle();
    EXPECT_EQ(outcome, "cancelled");
    EXPECT_EQ(took, 1500ms);

    // A value found by the attempt under way does not outweigh the cancellation.
    question = {.succeedsAt = 1};
    realm.mainQueue().sync([&] {
        tasks.spawn(wait(true, {dispatch::Seconds{5}, dispatch::Seconds{1}, ""}));
        tasks.cancel();
    });
    realm.settle();
    EXPECT_EQ(outcome, "cancelled");
    EXPECT_EQ(question.attempts, 1);
}

TEST_F(WaitTest, aStepOfTheWallClockNeitherEndsNorProlongsAWait) {
    question.succeedsAt = 9;
    run(true, 1.0, 0.1);
    realm.advanceBy(250ms);
    realm.stepWallClock(1h);
    realm.advanceBy(250ms);
    realm.stepWallClock(-2h);
    realm.advanceBy(1s);
    EXPECT_EQ(outcome, "9");
    EXPECT_EQ(took, 800ms);
}

} // namespace
} // namespace orb
