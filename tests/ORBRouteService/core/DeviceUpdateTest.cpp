// SPDX-License-Identifier: MIT
#include "tests/ORBRouteService/core/ServiceWorld.h"

#include <gmock/gmock.h>

namespace orb {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::int64_t minute = std::int64_t{60} * 44100; // frames

/// A receiver with a record of its own.
std::string entry(const char* name, int number, const std::string& more = "") {
    return fmt::format(
        R"({{"name": "{0}", "id": "A1:00:00:00:00:0{1}", "txt": {{"deviceid": "A1:00:00:00:00:0{1}"}}{2}{3}}})",
        name, number, more.empty() ? "" : ", ", more);
}

const std::string twoRooms = entry("Kitchen", 1) + "," + entry("Bath", 2);

TEST(DeviceUpdateTest, whatIsAskedForIsRoutedToldAndAnswered) {
    ServiceWorld world(twoRooms);
    const auto kitchen = world.device("Kitchen", 1);
    const auto bath = world.device("Bath", 2);
    EXPECT_NEAR(world.ask({kitchen}), 0.65, 1e-9)
        << "50 ms for the picker, 0.1 s for its rows, 0.5 s to look again";
    EXPECT_THAT(world.takeStory(), ElementsAre("connecting Kitchen", "connected Kitchen", "reply [Kitchen]"));
    EXPECT_NEAR(world.ask({kitchen}), 0.05, 1e-9);
    EXPECT_THAT(world.takeStory(), ElementsAre("reply [Kitchen]")) << "it is routed already";
    world.ask({});
    EXPECT_THAT(world.takeStory(), ElementsAre("reply [Kitchen]", "disconnected Kitchen"))
        << "the service has not looked again when it answers";
    EXPECT_THAT(world.routed(), IsEmpty());
    world.ask({bath});
    EXPECT_THAT(world.takeStory(), ElementsAre("connecting Bath", "connected Bath", "reply [Bath]"));
}

TEST(DeviceUpdateTest, ofTwoRequestsTheSecondIsWhatIsMirroredWhileTheFirstIsStillWorkedOn) {
    ServiceWorld world(entry("Kitchen", 1, R"("connectDelay": 3)") + "," + entry("Bath", 2));
    const auto kitchen = world.device("Kitchen", 1);
    const auto bath = world.device("Bath", 2);
    world.request({kitchen});
    world.request({kitchen, bath});
    world.run(0.5);
    EXPECT_TRUE(world.service->deviceUpdateInProgress());
    EXPECT_EQ(world.service->mirrorDevice()->targetDevices().size(), 2U);
    EXPECT_THAT(world.takeStory(), ElementsAre("connecting Kitchen"));
    world.run(10);
    EXPECT_THAT(world.takeStory(), ElementsAre("connected Kitchen", "reply [Kitchen]", "connecting Bath",
                                               "connected Bath", "disconnected Kitchen", "reply [Bath]"))
        << "each selection clears the context first";
    EXPECT_FALSE(world.service->deviceUpdateInProgress());
}

TEST(DeviceUpdateTest, aRequestIsNotOvertakenByOneThatLooksForTheSlotAtABetterTime) {
    for (const double later : {0.03, 0.07}) { // than the second, who looks every 0.1 s
        ServiceWorld world(entry("Kitchen", 1, R"("connectDelay": 3)") + "," + entry("Bath", 2));
        world.request({world.device("Kitchen", 1)});
        world.run(0.5);
        world.request({world.device("Bath", 2)});
        world.run(later);
        world.request({});
        world.run(20);
        EXPECT_THAT(world.routed(), IsEmpty()) << later;
    }
}

TEST(DeviceUpdateTest, whatCannotBeDoneIsAnsweredAndLeavesWhatIsRouted) {
    ServiceWorld world(entry("Kitchen", 1, R"("disconnectDelay": 9)"));
    world.realm.setTimerLateness(std::chrono::microseconds(1));
    const auto kitchen = world.device("Kitchen", 1);
    const auto bath = world.device("Bath", 2);
    bath->setOverride(std::nullopt, ORBMacAddressOverrideKey);
    world.ask({kitchen});
    world.ask({bath});
    EXPECT_EQ(world.takeStory().back(), "reply incompleteTXTRecord(device: Bath)");
    EXPECT_THAT(world.routed(), ElementsAre("Kitchen")) << "nothing was touched";
    world.ask({});
    EXPECT_EQ(world.takeStory().back(), "reply The operation “deselectDevice(device:)” timed out.");
    world.run(10);
    world.takeStory();
    const LMNDeviceCodable broken{foundation::Data{"nonsense"}, "Attic"};
    world.requestCodables({broken});
    world.run(1);
    EXPECT_EQ(world.takeStory().back(), "reply The device “Attic” cannot be restored.");
}

TEST(DeviceUpdateTest, switchingDevicesInOneRequestIsToldAsAMissingSurplusDevice) {
    ServiceWorld world(twoRooms);
    world.ask({world.device("Kitchen", 1)});
    world.takeStory();
    world.ask({world.device("Bath", 2)});
    EXPECT_THAT(world.takeStory(), ElementsAre("connecting Bath", "connected Bath", "disconnected Kitchen",
                                               "reply deviceNotFoundInContext(device: Kitchen)"))
        << "the selection has cleared the context already";
    EXPECT_THAT(world.routed(), ElementsAre("Bath"));
}

TEST(DeviceUpdateTest, aGroupIsAnsweredByTheContextsOwnDeviceOnceTheFrameworkKnowsIt) {
    const auto member = [](const char* name, int number) {
        return fmt::format(
            R"({{"name": "{0}", "id": "A1:00:00:00:00:0{1}", "txt": {{"gid": "G", "tsid": "T"}}}})", name,
            number);
    };
    ServiceWorld world(member("Kitchen", 1) + "," + member("Bath", 2), {.supportsGroupedAirPlay = true});
    world.realm.setTimerLateness(std::chrono::microseconds(1));
    const auto group = world.groupDevice("Kitchen", "T");
    world.ask({group});
    EXPECT_THAT(world.takeStory(), ElementsAre("connecting Kitchen", "connected Kitchen", "connected Kitchen",
                                               "reply [Kitchen]"));
    EXPECT_THAT(world.routed(), ElementsAre("Kitchen", "Bath"));
    EXPECT_EQ(world.log.count(1, "Connected to context device <LMNDevice AirPlay::G>"), 1U);

    world.onMain([&] {
        world.system->deviceManager().setSystemDevices(
            [] { return std::vector<lmn::LMNVirtualDeviceConfig>{}; });
    });
    EXPECT_NEAR(world.ask({group}), 10.05, 1e-3);
    EXPECT_EQ(world.takeStory().back(), "reply The operation “handleMessage(message:)” timed out.");
}

TEST(DeviceUpdateTest, aDeviceThatCameBackIsConnectedAgainAndToldInOrder) {
    ServiceWorld world(entry("Kitchen", 1));
    world.realm.setTimerLateness(std::chrono::microseconds(1));
    const auto kitchen = world.device("Kitchen", 1);
    world.play(PlayerScript().sound(10 * minute));
    world.ask({kitchen});
    world.run(30);
    world.takeStory();
    world.write("");
    world.run(6);
    EXPECT_THAT(world.takeStory(),
                ElementsAre("disconnected Kitchen", "connecting Kitchen", "connecting Kitchen"));
    EXPECT_EQ(world.log.count(4, "Device reconnction failed with error The operation"), 1U);
    world.run(10);
    EXPECT_THAT(world.takeStory(), ElementsAre("connecting Kitchen", "connecting Kitchen"))
        << "one attempt takes 5 s, and 5 s lie between two";
    world.write(entry("Kitchen", 1));
    world.run(10);
    EXPECT_THAT(world.takeStory(), ElementsAre("connecting Kitchen", "connecting Kitchen",
                                               "connected Kitchen", "connected Kitchen"));
    world.run(60);
    EXPECT_THAT(world.takeStory(), IsEmpty());
    EXPECT_THAT(world.routed(), ElementsAre("Kitchen"));
}

} // namespace
} // namespace orb
