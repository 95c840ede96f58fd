// SPDX-License-Identifier: MIT
#include "tests/ORBRouteService/picker/PickerWorld.h"

#include "ORBRouteService/picker/toolkit/AXElementAttributes.h"

#include <gmock/gmock.h>

namespace orb {
namespace {

using testing::HasSubstr;
using testing::Not;

constexpr const char* right = "sesame-7391";
constexpr const char* wrong = "guess-2846";

const KnownOutput kitchen{.name = "Kitchen", .address = "A1:00:00:00:00:01"};

/// A receiver with a secret, and what the user does before losing patience.
std::string entry(const std::string& answers, const std::string& more = "") {
    return fmt::format(
        R"({{"name": "Kitchen", "id": "A1:00:00:00:00:01", "password": "{}", "answers": [{}, {{"after": 60, "dismiss": true}}]{}}})",
        right, answers, more);
}

std::string typed(const char* text) { return fmt::format(R"({{"after": 1, "text": "{}"}})", text); }

/// Everything that can be read of a user interface.
std::string textsBelow(const AXUIElement& element) {
    std::string texts = title(element) + axDescription(element) + stringValue(element).value_or("");
    for (const AXUIElement& child : children(element)) {
        texts += textsBelow(child);
    }
    return texts;
}

std::string everythingShown(PickerWorld& world) {
    std::string shown = world.window->description();
    for (const auto& line : world.log.lines()) {
        shown += line.text;
    }
    for (const auto& device : world.context->outputDevices()) {
        shown += device->description();
    }
    auto& accessibility = world.airPlay->accessibility();
    return shown + textsBelow(accessibility.createApplication(getpid())) +
           textsBelow(accessibility.createApplication(avkit::AirPlayUIAgent::processIdentifier));
}

void expectNoSecret(const std::string& text) {
    EXPECT_THAT(text, Not(HasSubstr(right)));
    EXPECT_THAT(text, Not(HasSubstr(wrong)));
}

TEST(SecretsTest, noneIsShownOrToldWhateverBecomesOfTheAnswer) {
    for (const std::string& receiver :
         {entry(typed(right)), entry(typed(wrong)), entry(typed(wrong) + "," + typed(right)),
          entry(typed(right), R"(, "outcome": "refuses")"), entry(typed(right), R"(, "connectDelay": 9)")}) {
        PickerWorld world(receiver);
        const auto ending = world.select(world.device(kitchen));
        for (int halfSecond = 0; halfSecond < 40; ++halfSecond) {
            expectNoSecret(everythingShown(world));
            world.run(0.5);
        }
        world.write(entry(typed(wrong), R"(, "nonsense": 1)"));
        world.write("{}");
        expectNoSecret(everythingShown(world) + ending->outcome);
        EXPECT_GT(world.log.count(4, "receivers.json"), 0U) << "the files were to be complained of";
    }
}

} // namespace
} // namespace orb
