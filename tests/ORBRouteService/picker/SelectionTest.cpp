// SPDX-License-Identifier: MIT
#include "tests/ORBRouteService/picker/PickerWorld.h"

#include "ORBRouteService/bridges/ORBSystemClasses.h"

#include <gmock/gmock.h>

namespace orb {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const KnownOutput kitchen{.name = "Kitchen", .address = "A1:00:00:00:00:01"};
const KnownOutput group{
    .name = "Kitchen", .address = "", .txtRecord = TxtRecord{{"gid", "G"}, {"tsid", "T"}}};

constexpr const char* timedOut = "The operation “selectDevice(device:)” timed out.";
constexpr const char* notInContext = "deviceNotFoundInContext(device: Kitchen)";
constexpr const char* mismatch = "deviceWithMatchingFeaturesNotFoundInContext(device: Kitchen)";
constexpr const char* rejected = "connectionRejectectedMessage";
constexpr const char* noPassword = "passwordRequired(device: Kitchen)";
constexpr const char* noDevice = "timeoutWaitingForDevice(device: Kitchen)";

/// One selection: the receivers as their file says, what is asked for, and how it must end.
struct Scenario {
    const char* name;
    std::string receivers;
    std::string outcome;
    double seconds;
    std::vector<std::string> routed{};
    KnownOutput wanted = kitchen;
    PickerWorld::Context context = PickerWorld::Context::auxiliary;
};

/// A receiver called Kitchen with these further members.
std::string entry(const std::string& more = "", const char* name = "Kitchen", int number = 1) {
    return fmt::format(R"({{"name": "{}", "id": "A1:00:00:00:00:0{}"{}{}}})", name, number,
                       more.empty() ? "" : ", ", more);
}

/// One that routes what is wanted, and nothing else.
Scenario routes(const char* name, std::string receivers, double seconds, KnownOutput wanted = kitchen) {
    return {name, std::move(receivers), wanted.name, seconds, {wanted.name}, wanted};
}

std::vector<Scenario> scenarios() {
    constexpr auto shared = PickerWorld::Context::defaultShared;
    const std::string locked = R"("password": "sesame", "connectDelay": 0.4, "answers": )";
    const std::string answered =
        R"("password": "s", "answers": [{"after": 2, "text": "s"}], "connectDelay": )";
    const std::string member = R"("txt": {"gid": "G", "tsid": "T"}, "connectDelay": 0.1)";
    const KnownOutput second{.name = "Kitchen", .address = "A1:00:00:00:00:02"};
    const KnownOutput recorded{.name = "Kitchen", .address = "D1:00:00:00:00:02"};
    const KnownOutput decomposed{.name = "Ku\u0308che “Süd” 🎵", .address = "A1:00:00:00:00:01"};
    const KnownOutput composed{.name = "Küche", .address = "A1:00:00:00:00:01"};
    return {
        routes("at once", entry(), 0.5),
        routes("in sight after a while", entry(R"("discoveryDelay": 2.95)"), 3.5),
        {"in sight too late", entry(R"("discoveryDelay": 5.5)"), timedOut, 5.05},
        {"of another name", entry("", "Bath"), timedOut, 5.05},
        routes("at the deadline", entry(R"("connectDelay": 20)"), 20),
        {"too slow", entry(R"("connectDelay": 20.1)"), noDevice, 20.5, {"Kitchen"}},
        {"refusing", entry(R"("outcome": "refuses", "connectDelay": 1.2)"), rejected, 1.5},
        {"vanishing while it connects", entry(R"("outcome": "vanishes", "connectDelay": 1)"), noDevice, 20.5},
        routes("password right at the second attempt",
               entry(locked + R"([{"after": 1, "text": "open"}, {"after": 1, "text": "sesame"}])"), 3),
        {"password wrong, then dismissed",
         entry(locked + R"([{"after": 1, "text": "open"}, {"after": 1, "dismiss": true}])"), noPassword, 4},
        {"password dismissed", entry(locked + R"([{"after": 0.9, "dismiss": true}])"), noPassword, 3},
        routes("password right, receiver at the last moment", entry(answered + "1.5"), 3.5),
        {"password right, receiver just too late", entry(answered + "1.6"), noDevice, 4, {"Kitchen"}},
        {"password right, receiver late", entry(answered + "5"), noPassword, 4},
        routes("code", entry(R"("code": "4711", "answers": [{"after": 2, "text": "4711"}])"), 3),
        {"under another name", entry(R"("connectsAs": {"name": "Bath"})"), notInContext, 0.5, {"Bath"}},
        {"as another device",
         entry(R"("connectsAs": {"id": "B2:00:00:00:00:02"})"),
         noDevice,
         20.5,
         {"Kitchen"}},
        {"two rows of one name, ours second",
         entry() + "," + entry("", "Kitchen", 2),
         noDevice,
         20.5,
         {"Kitchen"},
         second},
        routes("two boxes of one row, ours second",
               entry(R"("row": "Kitchen", "txt": {"deviceid": "D1:00:00:00:00:02"})") + "," +
                   R"({"name": "Kitchen", "id": "D1:00:00:00:00:02", "row": "Kitchen"})",
               1, recorded),
        {"known by a record that is out of date",
         entry(R"("txt": {"deviceid": "D1:00:00:00:00:02"})"),
         mismatch,
         0.5,
         {"Kitchen"},
         recorded},
        routes("typographic and combining characters", entry("", "Ku\u0308che “Süd” 🎵"), 0.5, decomposed),
        {"composed where the receiver is not", entry("", "Ku\u0308che"), timedOut, 5.05, {}, composed},
        routes("a record with a value that is no text",
               entry(R"("txt": {"deviceid": "a10000000001", "model": {"base64": "//4="}})"), 0.5),
        {"a group",
         entry(member) + "," + entry(member, "Bath", 2),
         "Kitchen",
         0.5,
         {"Kitchen", "Bath"},
         group},
        {"a group in the shared context",
         entry(member) + "," + entry(member, "Bath", 2),
         "Kitchen",
         0.5,
         {"Kitchen", "Bath"},
         group,
         shared},
        {"under another name in the shared context",
         entry(R"("connectDelay": 0.1, "connectsAs": {"name": "Bath"})"),
         "Bath",
         0.5,
         {"Bath"},
         kitchen,
         shared},
    };
}

TEST(SelectionTest, everyScenarioEndsAsItMustAtItsTime) {
    for (const Scenario& scenario : scenarios()) {
        SCOPED_TRACE(scenario.name);
        PickerWorld world(scenario.receivers, scenario.context);
        if (scenario.outcome == timedOut) {
            world.realm.setTimerLateness(std::chrono::milliseconds(1)); // as on a real machine
        }
        const Ending ending = world.finish(world.select(world.device(scenario.wanted)));
        EXPECT_EQ(ending.outcome, scenario.outcome);
        EXPECT_NEAR(ending.seconds, scenario.seconds, scenario.outcome == timedOut ? 1e-2 : 1e-9);
        EXPECT_EQ(world.routed(), scenario.routed);
        EXPECT_THAT(world.alerts(), IsEmpty());
        EXPECT_FALSE(world.window->connectionInProgress());
        EXPECT_TRUE(world.window->browsing());
    }
}

TEST(SelectionTest, aPromptThatStaysKeepsTheWaitAliveAndIsLoggedEverySecond) {
    PickerWorld world(entry(R"("password": "sesame", "answers": [{"after": 60, "dismiss": true}])"));
    const Ending ending = world.finish(world.select(world.device(kitchen)));
    EXPECT_EQ(ending.outcome, noPassword);
    EXPECT_DOUBLE_EQ(ending.seconds, 62);
    EXPECT_EQ(world.log.count(0, ">: Password entry shown"), 60U);
}

TEST(SelectionTest, aPickerThatNeverComesFailsTheWindowAfterTenSeconds) {
    PickerWorld world(entry(), PickerWorld::Context::auxiliary, std::nullopt);
    const Ending ending = world.finish(world.tryToOpen());
    EXPECT_EQ(ending.outcome, "timedOutWaitingForPicker");
    EXPECT_DOUBLE_EQ(ending.seconds, 10);
}

TEST(SelectionTest, aBoxThatIsCheckedIsNotPressed) {
    PickerWorld world(entry());
    const auto device = world.device(kitchen);
    world.finish(world.select(device));
    const Ending ending = world.finish(world.pressAnyBox(device));
    EXPECT_EQ(ending.seconds, 0);
    EXPECT_THAT(world.routed(), ElementsAre("Kitchen"));
}

TEST(SelectionTest, anAlertAboutAnotherDeviceIsLeftAlone) {
    PickerWorld world(entry(R"("connectDelay": 2)"));
    std::unique_ptr<airplay::UserAlerts::Alert> other;
    world.onMain([&] { other = world.airPlay->agent().tellFailure("Bath", [] {}); });
    EXPECT_EQ(world.finish(world.select(world.device(kitchen))).outcome, "Kitchen");
    EXPECT_THAT(world.alerts(), ElementsAre("Could not connect to “Bath”."));
    world.onMain([&] { other.reset(); });
}

TEST(SelectionTest, whatIsRoutedAlreadyHasNoBoxToPressUntilItIsDeselected) {
    PickerWorld world(entry(R"("disconnectDelay": 1.05)"));
    world.realm.setTimerLateness(std::chrono::microseconds(1));
    const auto device = world.device(kitchen);
    EXPECT_EQ(world.finish(world.select(device)).outcome, "Kitchen");
    EXPECT_EQ(world.finish(world.select(device)).outcome, timedOut);
    EXPECT_THAT(world.routed(), ElementsAre("Kitchen"));
    const Ending left = world.finish(world.deselect(device));
    EXPECT_EQ(left.outcome, "done");
    EXPECT_NEAR(left.seconds, 1.1, 1e-3);
    EXPECT_THAT(world.routed(), IsEmpty());
    EXPECT_DOUBLE_EQ(world.finish(world.deselect(device)).seconds, 0) << "nothing is routed";
    EXPECT_EQ(world.finish(world.select(device)).outcome, "Kitchen");
}

TEST(SelectionTest, aDeviceThatWasStillLeavingIsNoNewDevice) {
    PickerWorld world(entry(R"("disconnectDelay": 30)"));
    world.realm.setTimerLateness(std::chrono::microseconds(1));
    const auto device = world.device(kitchen);
    world.finish(world.select(device));
    const Ending stays = world.finish(world.deselect(device));
    EXPECT_EQ(stays.outcome, "The operation “deselectDevice(device:)” timed out.");
    EXPECT_NEAR(stays.seconds, 2, 1e-3);
    const Ending ending = world.finish(world.select(device));
    EXPECT_EQ(ending.outcome, timedOut);
    EXPECT_NEAR(ending.seconds, 5.5, 1e-3) << "confirmed, but with an identifier that was there before";
}

TEST(SelectionTest, aCancelledSelectionEndsWhereItWaitsButNotWhileItIsConfirmed) {
    PickerWorld world(entry(R"("discoveryDelay": 1, "connectDelay": 3)"));
    const auto device = world.device(kitchen);
    for (const auto& [cancelledAt, outcome, endsAt] :
         {std::tuple(0.55, "cancelled", 0.55), std::tuple(2.0, "cancelled", 3.5)}) {
        const auto ending = world.select(device);
        world.run(cancelledAt);
        world.onMain([&] { world.tasks.cancel(); });
        EXPECT_EQ(world.finish(ending).outcome, outcome);
        EXPECT_NEAR(ending->seconds, endsAt, 1e-9);
        EXPECT_FALSE(world.window->connectionInProgress());
    }
    EXPECT_THAT(world.routed(), ElementsAre("Kitchen"));
}

TEST(SelectionTest, theWindowHidesOnTheMainThreadOnlyAndBrowsesWhenAsked) {
    PickerWorld world(entry(R"("connectDelay": 1)"));
    const auto device = world.device(kitchen);
    ORBPickerWindow& window = *world.window;
    EXPECT_TRUE(window.isVisible());
    EXPECT_FALSE(window.accessibilityIsIgnored());
    world.onMain([&] {
        EXPECT_FALSE(window.isVisible());
        EXPECT_TRUE(window.accessibilityIsIgnored());
    });
    EXPECT_EQ(window.styleMask(), 128U);
    EXPECT_EQ(window.collectionBehavior(), 0x20040U);
    EXPECT_EQ(window.level(), 101);
    EXPECT_EQ(window.alphaValue(), 0);
    EXPECT_TRUE(window.isExcludedFromWindowsMenu());
    const auto ending = world.select(device);
    world.run(0.5);
    world.onMain([&] { window.stopBrowing(); });
    EXPECT_TRUE(window.browsing()) << "a selection needs it";
    world.finish(ending);
    world.onMain([&] { window.stopBrowing(); });
    EXPECT_FALSE(window.browsing());
    EXPECT_EQ(world.log.count(0, ": start browsing"), 1U);
    EXPECT_EQ(world.log.count(0, ": stop browsing"), 1U);
}

TEST(SelectionTest, whoeverClosesThePickerHearsNothingMoreOfWhatItBegan) {
    PickerWorld world(entry(R"("connectDelay": 50)") + "," +
                      entry(R"("connectDelay": 50, "outcome": "refuses")", "Bath", 2));
    world.finish(world.select(world.device(kitchen)));
    world.finish(world.select(world.device({.name = "Bath", .address = "A1:00:00:00:00:02"})));
    world.close();
    world.run(60);
    EXPECT_THAT(world.routed(), IsEmpty());
    EXPECT_THAT(world.alerts(), IsEmpty());
    world.open();
}

} // namespace
} // namespace orb
