// SPDX-License-Identifier: MIT
#include "tests/ORBRouteService/core/ServiceWorld.h"

#include <gmock/gmock.h>

namespace orb {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr std::int64_t second = 44100; // frames

/// Frames of silence between the sound before a change and the sound after it.
std::int64_t silence(const std::vector<Stretch>& stretches, std::size_t change) {
    return stretches.at(change).at - (stretches.at(change - 1).at + stretches.at(change - 1).frames);
}

TEST(SettingsTest, aNewLatencyRebuildsTheRendererAndTheSoundComesBackToTheSameDevices) {
    ServiceWorld world(
        R"({"name": "Kitchen", "id": "A1:00:00:00:00:01", "txt": {"deviceid": "A1:00:00:00:00:01"}})");
    world.play(PlayerScript().sound(60 * second));
    world.ask({world.device("Kitchen", 1)});
    world.run(10);
    const auto before = world.service->mirrorDevice();
    world.onMain([&] { world.system->manager().setRenderLatency(1.0); }); // the first one is known already
    world.onMain([&] { world.system->manager().setRenderLatency(0.5); });
    EXPECT_NE(world.service->mirrorDevice(), before);
    EXPECT_EQ(world.service->mirrorDevice()->targetDevices(), before->targetDevices());
    world.takeStory();
    world.run(20);
    EXPECT_THAT(world.routed(), ElementsAre("Kitchen"));
    const std::vector<Stretch> stretches = stretchesOf(world.heard);
    EXPECT_THAT(world.takeStory(), IsEmpty());
    ASSERT_THAT(stretches, SizeIs(2));
    EXPECT_LT(silence(stretches, 1), second * 7 / 10) << "the new latency, and ten cycles of warm-up";
}

} // namespace
} // namespace orb
