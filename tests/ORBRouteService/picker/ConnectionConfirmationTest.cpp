// SPDX-License-Identifier: MIT
#include "ORBRouteService/picker/ConnectionConfirmation.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace orb {
namespace {

using Action = ConnectionConfirmation::Action;
using dispatch::HostTime;

constexpr double never = std::numeric_limits<double>::infinity();

/// What happens outside, s from the press, and how the wait must end.
struct Case {
    const char* name;
    double joins;
    double promptFrom, promptUntil;
    double alertAt;
    Action outcome;
    double endsAt;
    int announcements;
};

/// A system that does as a case says, asked at times that only the sleeps move.
class Script {
  public:
    explicit Script(const Case& script) : script_(script) {}

    bool perform(Action action) {
        switch (action) {
            case Action::lookInContext:
                return seconds() >= script_.joins;
            case Action::lookForPrompt:
                return seconds() >= script_.promptFrom && seconds() < script_.promptUntil;
            case Action::lookForAlert:
                return seconds() >= script_.alertAt;
            case Action::announcePrompt:
                ++announcements;
                break;
            case Action::sleepWithPrompt:
                now += std::chrono::seconds(1);
                break;
            case Action::sleepBetweenPolls:
                now += std::chrono::milliseconds(500);
                break;
            default:
                break;
        }
        return false;
    }
    double seconds() const { return dispatch::toSeconds(now - HostTime{}); }

    HostTime now{};
    int announcements = 0;

  private:
    const Case& script_;
};

TEST(ConnectionConfirmationTest, everyWayEndsInItsOutcomeAtItsTime) {
    const Case cases[] = {
        {"there at once", 0, never, never, never, Action::succeed, 0, 0},
        {"there between two polls", 3.2, never, never, never, Action::succeed, 3.5, 0},
        {"there at the deadline", 20, never, never, never, Action::succeed, 20, 0},
        {"there after the deadline", 20.1, never, never, never, Action::failForTimeout, 20.5, 0},
        {"refused at once", never, never, never, 0, Action::pressAlertButtonAndFail, 0, 0},
        {"refused", never, never, never, 4.1, Action::pressAlertButtonAndFail, 4.5, 0},
        {"refused too late", never, never, never, 20.2, Action::failForTimeout, 20.5, 0},
        {"refused though there", 4, never, never, 4, Action::succeed, 4, 0},
        {"asked for a minute", never, 0.7, 60.7, never, Action::failForPassword, 62.5, 60},
        {"answered", 61.3, 0.7, 60.7, never, Action::succeed, 61.5, 60},
        {"answered at the last moment", 62, 0.7, 60.7, never, Action::succeed, 62, 60},
        {"there too late after the answer", 62.2, 0.7, 60.7, never, Action::failForTimeout, 62.5, 60},
        {"there while still asked", 3, 0, 9.5, never, Action::succeed, 10.5, 10},
        {"asked at the deadline", 23.9, 19.9, 22.5, never, Action::succeed, 24, 3},
        {"asked after the deadline", never, 20.1, never, never, Action::failForTimeout, 20.5, 0},
        {"refused after the answer", never, 0, 2.5, 4, Action::pressAlertButtonAndFail, 4, 3},
    };
    for (const Case& row : cases) {
        SCOPED_TRACE(row.name);
        Script script(row);
        ConnectionConfirmation wait(script.now);
        Action action{};
        bool answer = false;
        for (int steps = 0; action < Action::succeed && steps < 1000; ++steps) {
            action = wait.next(script.now, answer);
            answer = script.perform(action);
        }
        EXPECT_EQ(action, row.outcome);
        EXPECT_DOUBLE_EQ(script.seconds(), row.endsAt);
        EXPECT_EQ(script.announcements, row.announcements);
    }
}

TEST(ConnectionConfirmationTest, aDeviceThatLeavesBeforeTheSecondLookAfterAPromptIsNotConnected) {
    ConnectionConfirmation wait(HostTime{});
    const std::pair<Action, bool> script[] = {
        {Action::lookInContext, false},     {Action::lookForPrompt, true},  {Action::announcePrompt, false},
        {Action::sleepWithPrompt, false},   {Action::lookForPrompt, false}, {Action::lookForAlert, false},
        {Action::sleepBetweenPolls, false}, {Action::lookInContext, true},  {Action::lookInContext, false},
        {Action::failForPassword, false}};
    bool answer = false;
    for (const auto& [action, itsAnswer] : script) {
        EXPECT_EQ(wait.next(HostTime{}, answer), action);
        answer = itsAnswer;
    }
}

} // namespace
} // namespace orb
