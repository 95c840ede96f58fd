// SPDX-License-Identifier: MIT
#include "tests/ORBRouteService/audio/MirrorWorld.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <unistd.h>

#include <cmath>

namespace orb {
namespace {

using testing::ElementsAre;

std::string firstChunkLine(const coremedia::CMTime& presentationTime, double latency, double duration) {
    const auto anchor = CMTimeSubtract(presentationTime, coremedia::CMTimeMakeWithSeconds(latency, 44100));
    return fmt::format("first chunk after resync: anchor={}, startLatency={}, pts={}, duration={}",
                       LogNumber{CMTimeGetSeconds(anchor)}, LogNumber{latency},
                       LogNumber{CMTimeGetSeconds(presentationTime)}, LogNumber{duration});
}

struct Rendering {
    double latency;
    std::uint32_t chunkSize;
};

class FirstSoundTest : public testing::TestWithParam<Rendering> {};

TEST_P(FirstSoundTest, isLostInTheWarmUpAloneOrHeardAtAnotherTimeThanTheLatencyAfterItsCapture) {
    VirtualMirrorWorld world({.latency = GetParam().latency, .chunkSize = GetParam().chunkSize});
    world.connect({0, 1});
    world.run(0.5);
    world.play(PlayerScript().sound(60 * 44100));
    world.run(GetParam().latency + 5);

    const std::int64_t skipped =
        ORBMirrorDevice::warmupCycles * std::min<std::int64_t>(cycleFrames, GetParam().chunkSize);
    const auto played = stretchesOf(world.captured());
    const auto heard = stretchesOf(world.heard(0));
    ASSERT_EQ(played.size(), 1U);
    ASSERT_EQ(heard.size(), 1U);
    EXPECT_EQ(heard[0].number, 1 + skipped);
    EXPECT_EQ(heard[0].at, played[0].at + skipped + std::llround(GetParam().latency * rate));
    EXPECT_GT(heard[0].frames, 4 * 44100);
    EXPECT_EQ(world.heard(0), world.heard(1));
    EXPECT_TRUE(world.heard(2).empty());
}

INSTANTIATE_TEST_SUITE_P(Renderings, FirstSoundTest,
                         testing::Values(Rendering{2.0, 8192}, Rendering{0.5, 8192}, Rendering{3.7, 8192},
                                         Rendering{2.0, 4096}, Rendering{0.3, 512}, Rendering{2.0, 256},
                                         Rendering{2.0, 300}, Rendering{1.0, 100}));

TEST(FirstSoundOrderTest, aStepOfTheStartIsLeftOutOrOutOfOrder) {
    VirtualMirrorWorld world;
    world.connect({0});
    world.play(PlayerScript().sound(60 * 44100));
    world.run(1);
    ASSERT_FALSE(world.enqueued().empty());
    const coremedia::CMTime first = world.enqueued()[0].presentationTime;
    // Time began to run with the second cycle; the anchor is of the eleventh.
    EXPECT_NEAR(CMTimeGetSeconds(first), 2.0 + 9 * cycleSeconds, 1e-8);
    const auto journal = world.journal();
    ASSERT_GE(journal.size(), 8U);
    EXPECT_THAT(
        std::vector(journal.begin(), journal.begin() + 8),
        ElementsAre("ORBMirrorDevice init: frames=8192 rate=44100.0 syncLatency=2.0",
                    "New device added - forcing resync", "<ORBTapIOContext *>: willStartIO", "runner started",
                    "resetRendererState(flush: true, reason: resync: needsResync=true, rate=0.0)",
                    "resetRendererState(flush: true, reason: startup warmup begin)",
                    "resetRendererState(flush: true, reason: resync: needsResync=false, rate=0.0)",
                    firstChunkLine(first, 2.0, chunkSeconds)));
}

TEST(FirstSoundOrderTest, aChunkIsNotTimedWhereTheOneBeforeEnds) {
    VirtualMirrorWorld world;
    world.connect({0});
    world.play(PlayerScript().sound(60 * 44100));
    world.runUntilEnqueued(50);
    const auto& chunks = world.enqueued();
    for (std::size_t index = 1; index < chunks.size(); ++index) {
        const auto step = CMTimeSubtract(chunks[index].presentationTime, chunks[index - 1].presentationTime);
        EXPECT_EQ(CMTimeCompare(step, coremedia::CMTimeMake(chunkFrames, 44100)), 0) << index;
        EXPECT_EQ(chunks[index].frames, chunkFrames);
    }
}

class WarmUpTest : public testing::TestWithParam<int> {};

TEST_P(WarmUpTest, soundIsRenderedWithoutDevicesOrAfterOtherThanTenCyclesWithThem) {
    VirtualMirrorWorld world;
    world.play(PlayerScript().sound(60 * 44100));
    const std::int64_t before = GetParam();
    world.runCycles(before);
    EXPECT_TRUE(world.enqueued().empty());
    world.connect({0, 1});
    // The tenth cycle is still skipped: a chunk is full only sixteen cycles after it.
    world.runCycles(ORBMirrorDevice::warmupCycles + cyclesPerChunk - 1);
    EXPECT_TRUE(world.enqueued().empty());
    world.runCycles(1);
    EXPECT_EQ(world.enqueued().size(), 1U);

    world.run(4);
    const auto heard = stretchesOf(world.heard());
    ASSERT_EQ(heard.size(), 1U);
    EXPECT_EQ(heard[0].number, (before + ORBMirrorDevice::warmupCycles) * cycleFrames + 1);
}

INSTANTIATE_TEST_SUITE_P(CyclesWithoutDevices, WarmUpTest, testing::Values(1, 2, 9, 10, 11, 200));

TEST(WarmUpInterruptedTest, cyclesBeforeAChangeOfTheDevicesCountForTheWarmUpAfterIt) {
    VirtualMirrorWorld world;
    world.connect({0, 1});
    world.play(PlayerScript().sound(60 * 44100));
    world.runCycles(9);
    world.connect({0});
    world.runCycles(9);
    world.connect({0, 2});
    world.run(4);
    const auto heard = stretchesOf(world.heard(0));
    ASSERT_EQ(heard.size(), 1U);
    EXPECT_EQ(heard[0].number, 28 * cycleFrames + 1);
}

TEST(ExcludedProcessTest, whatTheServiceItselfPlaysIsCaptured) {
    VirtualMirrorWorld world;
    world.connect({0});
    world.play(PlayerScript(PlayerScript::Side::right).sound(60 * 44100), ::getpid());
    world.run(1);
    EXPECT_EQ(world.capturedCycles(), 0);
    EXPECT_FALSE(world.mirror().runner().isRunning());

    world.play(PlayerScript(PlayerScript::Side::left).sound(60 * 44100));
    world.run(5);
    EXPECT_EQ(stretchesOf(world.heard(), &Frame::left).size(), 1U);
    EXPECT_TRUE(stretchesOf(world.heard(), &Frame::right).empty());
}

} // namespace
} // namespace orb
