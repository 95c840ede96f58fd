// SPDX-License-Identifier: MIT
#include "tests/ORBRouteService/core/ServiceWorld.h"

#include <gtest/gtest.h>

namespace orb {
namespace {

/// One routed receiver, and its virtual device.
class VolumeTest : public testing::Test {
  public:
    /// Connects a receiver whose knob stands at `knob` to a virtual device at `device`.
    void connect(double knob, double device) {
        changes.cancel();
        receiver.reset();
        kitchen.reset();
        world.emplace(fmt::format(
            R"({{"name": "Kitchen", "id": "A1:00:00:00:00:01", "txt": {{"deviceid": "A1:00:00:00:00:01"}}, "volume": {}}})",
            knob));
        kitchen = world->device("Kitchen", 1);
        kitchen->setVolume(device);
        world->ask({kitchen});
        receiver = world->system->airPlay().receivers().receivers().front();
        changes = receiver->observeVolume([this](float) { ++count; });
        count = 0;
    }

    std::optional<ServiceWorld> world;
    std::shared_ptr<lmn::LMNDevice> kitchen;
    std::shared_ptr<airplay::EmbeddedReceiver> receiver;
    foundation::Subscription changes;
    int count = 0;
};

TEST_F(VolumeTest, aReceiverThatJoinsKeepsItsVolumeUnlessItIsSilent) {
    for (const auto& [knob, device, volume] :
         {std::tuple(0.0, 0.6, 0.6), std::tuple(0.3, 0.6, 0.3), std::tuple(0.0, 0.0, 0.0)}) {
        connect(knob, device);
        EXPECT_NEAR(receiver->volume(), volume, 1e-6);
        EXPECT_NEAR(kitchen->volume().get(), volume, 1e-6);
        EXPECT_EQ(kitchen->isMuted().get(), volume == 0);
    }
}

TEST_F(VolumeTest, aMuteReachesTheReceiverAndDoesNotComeBackAsAVolume) {
    connect(0.5, 1);
    world->onMain([&] { kitchen->setMuted(true); });
    EXPECT_EQ(receiver->volume(), 0);
    world->run(60);
    EXPECT_EQ(kitchen->volume().get(), 0.5);
    world->onMain([&] { kitchen->setMuted(false); });
    EXPECT_EQ(receiver->volume(), 0.5);
    world->run(60);
    EXPECT_EQ(count, 2);
}

TEST_F(VolumeTest, aKnobIsFollowedHalfASecondLaterUnlessItBarelyMoved) {
    connect(0.5, 1);
    world->onMain([&] { receiver->setVolume(0.5005F); });
    world->run(1);
    EXPECT_EQ(kitchen->volume().get(), 0.5);
    world->onMain([&] { receiver->setVolume(0.52F); });
    world->run(0.49);
    EXPECT_EQ(kitchen->volume().get(), 0.5);
    world->run(0.02);
    EXPECT_NEAR(kitchen->volume().get(), 0.52, 1e-6);
    EXPECT_EQ(count, 2);
}

} // namespace
} // namespace orb
