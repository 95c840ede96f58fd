// SPDX-License-Identifier: MIT
#include "platform/airplay/embedded/EmbeddedReceiver.h"
#include "platform/avkit/AVRoutePickerRemoteViewControllerClass.h"
#include "platform/avkit/AirPlayUIAgent.h"
#include "platform/dispatch/virtual/VirtualRealm.h"

#include <gmock/gmock.h>

namespace avkit {
namespace {

using namespace accessibility;
using namespace std::chrono_literals;
using airplay::Secret;
using airplay::SecretKind;
using testing::ElementsAre;
using testing::IsEmpty;

struct MainQueueTest : testing::Test {
    void onMain(dispatch::FunctionRef<void()> action) {
        realm.mainQueue().sync(action);
        realm.settle();
    }

    dispatch::VirtualRealm realm;
};

/// Sees what the test lets it see.
struct ToldDiscovery final : airplay::Discovery {
    std::unique_ptr<Search> search(std::function<void(const Receivers&)> changed) override {
        tell = std::move(changed);
        return std::make_unique<Search>();
    }
    std::function<void(const Receivers&)> tell;
};

struct RoutePickerTest : MainQueueTest {
    ~RoutePickerTest() override {
        onMain([this] {
            picker.reset();
            context.reset();
        });
    }

    /// A new picker with a view, for a new context.
    void open(bool supportsMultiple = true) {
        AVRoutePickerRemoteViewControllerClass pickers({realm.mainQueue(), discovery, 50ms});
        onMain([&] {
            picker.reset();
            pickers.requestViewController([this](const auto& arrived) { picker = arrived; });
        });
        realm.advanceBy(50ms);
        onMain([&] {
            avfoundation::AVOutputContextOptions options;
            options.supportsMultipleOutputDevices = supportsMultiple;
            context = std::make_shared<avfoundation::AVOutputContext>(system, center, options);
            picker->setOutputContext(context);
            picker->setRevealsAllRoutes(true);
            picker->startDiscoveringAudioRoutes();
            picker->loadView(view);
        });
    }

    void see(const airplay::Discovery::Receivers& receivers) {
        onMain([&] { discovery.tell(receivers); });
    }

    std::shared_ptr<airplay::EmbeddedReceiver> make(const std::string& name, std::string group = {},
                                                    std::optional<std::string> row = {},
                                                    dispatch::Nanoseconds connectDelay = {}) {
        airplay::ReceiverEntry entry;
        entry.description = {name, name, {{"gid", group.empty() ? name : group}}, row};
        entry.behaviour.connectDelay = connectDelay;
        return std::make_shared<airplay::EmbeddedReceiver>(
            entry, airplay::EmbeddedReceiver::Surroundings{realm.mainQueue(), {}});
    }

    AXElements cell(std::size_t row) const {
        const AXElements rows =
            std::get<AXElements>(*view.children().at(0)->handle().copyAttributeValue(AXRows));
        const AXElements cells = std::get<AXElements>(*rows.at(row).copyAttributeValue(AXChildren));
        return std::get<AXElements>(*cells.at(0).copyAttributeValue(AXChildren));
    }

    /// Each row as its label and its check boxes: "Kitchen 0".
    std::vector<std::string> rows() const {
        std::vector<std::string> texts;
        for (std::size_t row = 0; row < view.children().at(0)->children().size(); ++row) {
            const AXElements parts = cell(row);
            texts.push_back(std::get<std::string>(*parts.at(1).copyAttributeValue(AXValueAttribute)));
            for (std::size_t i = 2; i < parts.size(); ++i) {
                const auto value = parts[i].copyAttributeValue(AXValueAttribute);
                texts.back() += fmt::format(" {}", std::get<std::int64_t>(*value));
            }
        }
        return texts;
    }

    AXUIElement box(std::size_t row, std::size_t index = 0) const { return cell(row).at(2 + index); }
    void press(const AXUIElement& checkBox) {
        onMain([&] { checkBox.performAction(AXPress); });
    }

    foundation::NotificationCenter center;
    airplay::PlaybackSystem system{realm, [](const std::string&) {}};
    ToldDiscovery discovery;
    AXTreeElement view{AXGroupRole};
    std::shared_ptr<avfoundation::AVOutputContext> context;
    std::shared_ptr<AVRoutePickerRemoteViewController> picker;
};

TEST_F(RoutePickerTest, aGroupHasOneRowOutOfSightFirstAndSharersABoxEachAndHandlesStay) {
    open();
    const auto kitchen = make("Kitchen");
    const auto left = make("Left", "G", "Shelf");
    see({left, make("Bath", "G"), make("Hall", "G"), make("Right", "R", "Shelf"), kitchen});
    EXPECT_THAT(rows(), ElementsAre("Bath 0", "Kitchen 0", "Shelf 0 0"));
    const AXUIElement bath = box(0);
    const AXUIElement leftBox = box(2, 0);
    const AXUIElement right = box(2, 1);
    press(right);
    press(bath);
    EXPECT_THAT(rows(), ElementsAre("Bath 1", "Kitchen 0", "Shelf 0 1"));
    EXPECT_EQ(context->outputDevices().size(), 3U);
    airplay::ReceiverEntry renamed = *kitchen->entry();
    renamed.description.name = "Cellar";
    onMain([&] { kitchen->update(renamed); });
    see({left, kitchen});
    EXPECT_THAT(rows(), ElementsAre("Shelf 1 0", "Bath 1", "Cellar 0"));
    EXPECT_THAT((std::vector{box(0, 0), box(0, 1), box(1)}), ElementsAre(right, leftBox, bath));
    onMain([&] { picker->stopDiscoveringAudioRoutes(); });
    EXPECT_THAT(rows(), ElementsAre("Shelf 1", "Bath 1"));
    EXPECT_FALSE(leftBox.copyAttributeValue(AXValueAttribute));
    press(bath);
    EXPECT_THAT(rows(), ElementsAre("Shelf 1"));
    EXPECT_FALSE(bath.copyAttributeValue(AXValueAttribute));
}

TEST_F(RoutePickerTest, aBoxFollowsTheStateAndTheOthersGoWhereOneIsSupportedAndTheUndoneWithThePicker) {
    for (const bool supportsMultiple : {true, false}) {
        open(supportsMultiple);
        see({make("Kitchen", {}, {}, 300ms), make("Bath")});
        press(box(0));
        onMain([&] { picker->setRevealsAllRoutes(false); });
        realm.advanceBy(300ms - 1ns);
        EXPECT_THAT(rows(), ElementsAre("Kitchen 0"));
        realm.advanceBy(1ns);
        EXPECT_THAT(rows(), ElementsAre("Kitchen 1"));
        onMain([&] {
            picker->setRevealsAllRoutes(true);
            box(1).performAction(AXPress);
            EXPECT_EQ(rows()[0], supportsMultiple ? "Kitchen 1" : "Kitchen 0");
        });
        EXPECT_EQ(rows()[1], "Bath 1");
        onMain([&] {
            box(0).performAction(AXPress);
            if (supportsMultiple) {
                EXPECT_EQ(rows()[0], "Kitchen 0");
                box(0).performAction(AXPress);
            }
            picker->unloadView();
            EXPECT_TRUE(view.children().empty());
            supportsMultiple ? picker.reset() : picker->setOutputContext(nullptr);
        });
        realm.advanceBy(300ms);
        EXPECT_EQ(context->outputDevices().size(), supportsMultiple ? 1U : 0U);
    }
}

struct AirPlayUIAgentTest : MainQueueTest, airplay::PromptedUser {
    void asked(const airplay::UserAlerts::SecretRequest&, Answer giveAnswer) override {
        answer = std::move(giveAnswer);
    }

    auto tell(const std::string& name) {
        return agent.tellFailure(name, [this] { ++acknowledged; });
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

    appkit::NSWorkspace workspace;
    AXTreeElement element{"AXApplication"};
    AirPlayUIAgent agent{{realm.mainQueue(), workspace, element, this}};
    Answer answer; // to the last question
    std::vector<std::optional<Secret>> answers;
    int acknowledged = 0;
};

TEST_F(AirPlayUIAgentTest, theNewestFailureIsFirstAndTheAgentRunsUntilTheLastIsAcknowledgedOrDropped) {
    std::unique_ptr<airplay::UserAlerts::Alert> older, newer;
    onMain([&] {
        older = tell("Hall");
        newer = tell("Bath");
        EXPECT_THAT(messages(), ElementsAre("Could not connect to “Bath”.", "Could not connect to “Hall”."));
        EXPECT_THAT(workspace.runningApplications(),
                    ElementsAre(appkit::NSRunningApplication{"com.apple.AirPlayUIAgent",
                                                             AirPlayUIAgent::processIdentifier}));
        EXPECT_EQ(button(0).copyAttributeValue(AXTitle), AXValue("OK"));
        button(0).performAction(AXPress);
        EXPECT_THAT(messages(), ElementsAre("Could not connect to “Hall”."));
        EXPECT_EQ(acknowledged, 0);
    });
    EXPECT_EQ(acknowledged, 1);
    onMain([&] {
        button(0).performAction(AXPress);
        older.reset(); // before it is told
        EXPECT_THAT(workspace.runningApplications(), IsEmpty());
    });
    EXPECT_EQ(acknowledged, 1);
}

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
