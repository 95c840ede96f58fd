// SPDX-License-Identifier: MIT
#include "tests/ORBRouteService/audio/MirrorWorld.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <unistd.h>

#include <cmath>

namespace orb {
namespace {

struct Rendering {
    double latency;
    std::uint32_t chunkSize;
};

class FirstSoundTest : public testing::TestWithParam<Rendering> {};

TEST_P(FirstSoundTest, isLostInTheWarmUpAloneOrHeardOrToldAtAnotherTimeThanTheLatencyAfterItsCapture) {
    const auto [latency, chunkSize] = GetParam();
    VirtualMirrorWorld world({.latency = latency, .chunkSize = chunkSize});
    world.connect({0, 1});
    world.run(0.5);
    world.play(PlayerScript().sound(60 * 44100));
    world.run(latency + 5);

    const std::int64_t skipped =
        ORBMirrorDevice::warmupCycles * std::min<std::int64_t>(cycleFrames, chunkSize);
    const auto played = stretchesOf(world.captured());
    const auto heard = stretchesOf(world.heard(0));
    ASSERT_EQ(played.size(), 1U);
    ASSERT_EQ(heard.size(), 1U);
    EXPECT_EQ(heard[0].number, 1 + skipped);
    EXPECT_EQ(heard[0].at, played[0].at + skipped + std::llround(latency * rate));
    EXPECT_GT(heard[0].frames, 4 * 44100);
    EXPECT_EQ(world.heard(0), world.heard(1));
    EXPECT_TRUE(world.heard(2).empty());
    const coremedia::CMTime first = world.enqueued().at(0).presentationTime;
    const auto anchor = CMTimeSubtract(first, coremedia::CMTimeMakeWithSeconds(latency, 44100));
    EXPECT_THAT(world.journal(),
                testing::Contains(
                    fmt::format("first chunk after resync: anchor={}, startLatency={}, pts={}, duration={}",
                                LogNumber{CMTimeGetSeconds(anchor)}, LogNumber{latency},
                                LogNumber{CMTimeGetSeconds(first)}, LogNumber{chunkSize / rate})));
}

INSTANTIATE_TEST_SUITE_P(Renderings, FirstSoundTest,
                         testing::Values(Rendering{2.0, 8192}, Rendering{3.7, 8192}, Rendering{0.3, 512},
                                         Rendering{2.0, 300}, Rendering{1.0, 100}));

TEST(WarmUpTest, soundIsRenderedOtherThanTenCyclesAfterTheLastChangeOfTheDevices) {
    VirtualMirrorWorld world;
    world.play(PlayerScript().sound(60 * 44100));
    const std::vector<std::vector<std::size_t>> changes{{}, {0, 1}, {0}};
    for (const auto& receivers : changes) {
        world.connect(receivers);
        world.runCycles(9);
    }
    EXPECT_TRUE(world.enqueued().empty());
    world.connect({0, 2});
    world.run(4);
    const auto heard = stretchesOf(world.heard());
    ASSERT_EQ(heard.size(), 1U);
    EXPECT_EQ(heard[0].number, (3 * 9 + ORBMirrorDevice::warmupCycles) * cycleFrames + 1);
}

TEST(ExcludedProcessTest, whatTheServiceItselfPlaysIsCaptured) {
    VirtualMirrorWorld world;
    world.connect({0});
    world.play(PlayerScript().sound(60 * 44100), ::getpid());
    world.run(1);
    EXPECT_FALSE(world.mirror().runner().isRunning());
}

} // namespace
} // namespace orb
