// SPDX-License-Identifier: MIT
#include "platform/avkit/AirPlayUIAgent.h"
#include "platform/dispatch/virtual/VirtualRealm.h"

#include <gmock/gmock.h>

namespace avkit {
namespace {

using namespace accessibility;
using airplay::Secret;
using airplay::SecretKind;
using Answers = std::vector<std::optional<Secret>>;

struct AirPlayUIAgentTest : testing::Test, airplay::PromptedUser {
    void onMain(dispatch::FunctionRef<void()> action) {
        realm.mainQueue().sync(action);
        realm.settle();
    }

    void asked(const airplay::UserAlerts::SecretRequest&, Answer giveAnswer) override {
        answer = std::move(giveAnswer);
    }

    /// A part of the only window: its text is 1, then come a field, "Cancel" and "OK".
    AXUIElement part(std::size_t index) const {
        return element.children().at(0)->children().at(index)->handle();
    }

    dispatch::VirtualRealm realm;
    appkit::NSWorkspace workspace;
    AXTreeElement element{"AXApplication"};
    AirPlayUIAgent agent{{realm.mainQueue(), workspace, element, this}};
    Answer answer; // to the last question
};

TEST_F(AirPlayUIAgentTest, aQuestionEndsOnceWithTheFirstAnswerOrCancelAndOkLeavesItOpen) {
    for (const bool isCancelled : {false, true}) {
        std::unique_ptr<airplay::UserAlerts::Alert> alert;
        Answers answers;
        onMain([&] {
            alert = agent.askForSecret({SecretKind::code, "A1:B2", "Hall", true},
                                       [&](const auto& given) { answers.push_back(given); });
        });
        onMain([&] {
            part(4).performAction(AXPress);
            EXPECT_EQ(part(1).copyAttributeValue(AXValueAttribute),
                      AXValue("The answer was wrong. Enter the AirPlay code for “Hall”."));
            isCancelled ? part(3).performAction(AXPress) : answer(Secret("hidden"));
            EXPECT_TRUE(element.children().empty());
            answer(Secret("too late"));
        });
        EXPECT_TRUE(answers == Answers{isCancelled ? std::nullopt : std::optional(Secret("hidden"))});
        alert.reset();
        onMain([&] { answer(Secret("of a question that has gone")); });
        EXPECT_EQ(answers.size(), 1U);
    }
}

} // namespace
} // namespace avkit
