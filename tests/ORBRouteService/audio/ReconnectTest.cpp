// SPDX-License-Identifier: MIT
#include "tests/ORBRouteService/audio/MirrorWorld.h"

#include <gtest/gtest.h>

namespace orb {
namespace {

using Indices = std::vector<std::size_t>;

/// Who is meant to be connected, who was and is, when the user paused, and whether the sound is one.
struct Situation {
    Indices targets;
    Indices connectedBefore;
    Indices connected;
    bool needsReconnect;
    bool sound = true;
};

ORBMirrorDevice::Devices devicesOf(MirrorWorld& world, const Indices& indices) {
    ORBMirrorDevice::Devices devices;
    for (const std::size_t index : indices)
        devices.push_back(world.virtualDevice(index));
    return devices;
}

class ReconnectTest : public testing::TestWithParam<Situation> {};

TEST_P(ReconnectTest, isAskedForWithoutNeedOrNotAskedForInNeed) {
    VirtualMirrorWorld world;
    const Situation& situation = GetParam();
    world.onMain([&] { world.mirror().setTargetDevices(devicesOf(world, situation.targets)); });
    world.connect(situation.connectedBefore);
    world.connect(situation.connected);
    world.play(situation.sound ? PlayerScript().sound(60 * 44100) : PlayerScript().silence(60 * 44100));
    world.run(1);
    EXPECT_EQ(world.mirror().needsReconnect(), situation.needsReconnect);
    EXPECT_GE(world.reviews(), 1);
    world.mirror().clearNeedsReconnect();
    world.run(1); // nothing resumes any more
    EXPECT_FALSE(world.mirror().needsReconnect());
}

INSTANTIATE_TEST_SUITE_P(Situations, ReconnectTest,
                         testing::Values(Situation{{0}, {}, {0}, false}, Situation{{1}, {}, {0}, true},
                                         Situation{{0, 1}, {}, {1, 0}, false},
                                         Situation{{0, 0}, {}, {0}, false}, Situation{{2}, {}, {2, 3}, false},
                                         Situation{{0, 1}, {}, {0}, true}, Situation{{}, {}, {0}, true},
                                         Situation{{0}, {0}, {}, true}, Situation{{0}, {}, {}, false},
                                         Situation{{1}, {}, {0}, false, false}));

/// Nanoseconds between the user's pause and the cycle that brings the sound back.
class ReconnectPauseTest : public testing::TestWithParam<std::int64_t> {};

TEST_P(ReconnectPauseTest, isAskedForWithinTheReportedLatencyOfAPauseOrNoMoreAfterIt) {
    const auto play = [](VirtualMirrorWorld& world) {
        world.connect({0});
        world.play(PlayerScript().sound(60 * 44100));
        world.runCycles(1);
    };
    VirtualMirrorWorld rehearsal;
    play(rehearsal);
    VirtualMirrorWorld world;
    world.setLastPause(rehearsal.now() - dispatch::Nanoseconds{GetParam()});
    play(world);
    const double age = static_cast<double>(GetParam()) / 1e9;
    EXPECT_EQ(world.mirror().needsReconnect(), age >= world.manager().reportedLatency());
}

INSTANTIATE_TEST_SUITE_P(AroundTheReportedLatency, ReconnectPauseTest,
                         testing::Values(0, 2'108'190'022, 2'108'190'023, 10'000'000'000));

} // namespace
} // namespace orb
