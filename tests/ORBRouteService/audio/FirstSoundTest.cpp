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

TEST_P(FirstSoundTest, isLostInTheWarmUpAloneOrHeardAtAnotherTimeThanTheLatencyAfterItsCapture) {
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
}

INSTANTIATE_TEST_SUITE_P(Renderings, FirstSoundTest,
                         testing::Values(Rendering{2.0, 8192}, Rendering{3.7, 8192}, Rendering{0.3, 512},
                                         Rendering{2.0, 300}, Rendering{1.0, 100}));

TEST(FirstSoundLineTest, saysSomethingElseThanWhenTheFirstChunkIsHeard) {
    VirtualMirrorWorld world;
    world.connect({0});
    world.play(PlayerScript().sound(60 * 44100));
    world.run(1);
    ASSERT_FALSE(world.enqueued().empty());
    // Time began to run with the second cycle; the anchor is of the eleventh.
    const coremedia::CMTime first = world.enqueued()[0].presentationTime;
    EXPECT_NEAR(CMTimeGetSeconds(first), 2.0 + 9 * cycleSeconds, 1e-8);
    const auto anchor = CMTimeSubtract(first, coremedia::CMTimeMakeWithSeconds(2.0, 44100));
    EXPECT_THAT(world.journal(),
                testing::Contains(
                    fmt::format("first chunk after resync: anchor={}, startLatency=2.0, pts={}, duration={}",
                                LogNumber{CMTimeGetSeconds(anchor)}, LogNumber{CMTimeGetSeconds(first)},
                                LogNumber{chunkSeconds})));
}

/// Receivers that are connected one after the other, and for how many cycles.
using Before = std::vector<std::pair<std::vector<std::size_t>, std::int64_t>>;

class WarmUpTest : public testing::TestWithParam<Before> {};

TEST_P(WarmUpTest, soundIsRenderedOtherThanTenCyclesAfterTheLastChangeOfTheDevices) {
    VirtualMirrorWorld world;
    world.play(PlayerScript().sound(60 * 44100));
    std::int64_t skipped = ORBMirrorDevice::warmupCycles;
    for (const auto& [receivers, cycles] : GetParam()) {
        world.connect(receivers);
        world.runCycles(cycles);
        skipped += cycles;
    }
    EXPECT_TRUE(world.enqueued().empty());
    world.connect({0, 2});
    world.run(4);
    const auto heard = stretchesOf(world.heard());
    ASSERT_EQ(heard.size(), 1U);
    EXPECT_EQ(heard[0].number, skipped * cycleFrames + 1);
}

INSTANTIATE_TEST_SUITE_P(Changes, WarmUpTest,
                         testing::Values(Before{{{}, 1}}, Before{{{}, 200}}, Before{{{0, 1}, 9}, {{0}, 9}}));

TEST(ExcludedProcessTest, whatTheServiceItselfPlaysIsCaptured) {
    VirtualMirrorWorld world;
    world.connect({0});
    world.play(PlayerScript(PlayerScript::Side::right).sound(60 * 44100), ::getpid());
    world.run(1);
    EXPECT_FALSE(world.mirror().runner().isRunning());
    world.play(PlayerScript(PlayerScript::Side::left).sound(60 * 44100));
    world.run(5);
    EXPECT_EQ(stretchesOf(world.heard(), &Frame::left).size(), 1U);
    EXPECT_TRUE(stretchesOf(world.heard(), &Frame::right).empty());
}

} // namespace
} // namespace orb
