// SPDX-License-Identifier: MIT
#include "platform/avkit/AirPlayUIAgent.h"
#include "platform/dispatch/virtual/VirtualRealm.h"

#include <gmock/gmock.h>

namespace avkit {
namespace {

using namespace accessibility;
using airplay::Secret;
using airplay::SecretKind;
using testing::ElementsAre;
using testing::IsEmpty;

struct AirPlayUIAgentTest : testing::Test, airplay::PromptedUser {
    void onMain(dispatch::FunctionRef<void()> action) {
        realm.mainQueue().sync(action);
        realm.settle();
    }

    void asked(const airplay::UserAlerts::SecretRequest&, Answer giveAnswer) override {
        answer = std::move(giveAnswer);
    }

    /// Of each window the second child's, the newest first.
    std::vector<std::string> messages() const {
        std::vector<std::string> texts;
        for (const auto& window : element.children()) {
            texts.push_back(std::get<std::string>(
                *window->children().at(1)->handle().copyAttributeValue(AXValueAttribute)));
        }
        return texts;
    }

    /// A button of the newest window; the last is "OK", before it comes "Cancel".
    AXUIElement button(std::size_t fromLast) const {
        const auto& parts = element.children().at(0)->children();
        return parts.at(parts.size() - 1 - fromLast)->handle();
    }

    dispatch::VirtualRealm realm;
    appkit::NSWorkspace workspace;
    AXTreeElement element{"AXApplication"};
    AirPlayUIAgent agent{{realm.mainQueue(), workspace, element, this}};
    Answer answer; // to the last question
    std::vector<std::optional<Secret>> answers;
};

TEST_F(AirPlayUIAgentTest, aQuestionEndsOnceWithTheFirstAnswerOrCancelAndOkLeavesItOpen) {
    const std::map<std::string, std::pair<SecretKind, bool>> questions{
        {"Enter the AirPlay password for “Hall”.", {SecretKind::password, false}},
        {"Enter the AirPlay code for “Hall”.", {SecretKind::code, false}},
        {"The answer was wrong. Enter the AirPlay password for “Hall”.", {SecretKind::password, true}}};
    for (const auto& [message, kind] : questions) {
        for (const bool isCancelled : {false, true}) {
            std::unique_ptr<airplay::UserAlerts::Alert> alert;
            answers.clear();
            onMain([&] {
                alert = agent.askForSecret({kind.first, "A1:B2", "Hall", kind.second},
                                           [this](const auto& given) { answers.push_back(given); });
            });
            onMain([&] {
                button(0).performAction(AXPress);
                EXPECT_THAT(messages(), ElementsAre(message));
                isCancelled ? button(1).performAction(AXPress) : answer(Secret("hidden"));
                EXPECT_THAT(messages(), IsEmpty());
                answer(Secret("too late"));
            });
            ASSERT_EQ(answers.size(), 1U);
            EXPECT_TRUE(answers[0] == (isCancelled ? std::nullopt : std::optional(Secret("hidden"))));
        }
    }
    onMain([&] { answer(Secret("of a question that has gone")); });
    EXPECT_EQ(answers.size(), 1U);
}

} // namespace
} // namespace avkit
