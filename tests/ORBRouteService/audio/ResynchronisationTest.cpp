// SPDX-License-Identifier: MIT
#include "tests/ORBRouteService/audio/MirrorWorld.h"

#include <gmock/gmock.h>

namespace orb {
namespace {

using Lines = std::vector<std::string>;

const std::string newDeviceLine = "New device added - forcing resync";
const std::string askedLine = "resetRendererState(flush: true, reason: resync: needsResync=true, rate=1.0)";
const std::string warmUpLine = "resetRendererState(flush: true, reason: startup warmup begin)";
const std::string resumedLine =
    "resetRendererState(flush: true, reason: resync: needsResync=false, rate=0.0)";

/// The device plays for a second to one set of receivers, then to another.
struct Change {
    std::vector<std::size_t> from;
    std::vector<std::size_t> to;
    Lines lines;
};

class DeviceChangeTest : public testing::TestWithParam<Change> {};

TEST_P(DeviceChangeTest, forcesAResynchronisationThatItShouldNotOrWarmsUpForOtherThanTenCycles) {
    VirtualMirrorWorld world;
    world.connect(GetParam().from);
    world.play(PlayerScript().sound(60 * 44100));
    world.run(5);
    const std::size_t lines = world.log().lines().size();
    const std::int64_t before = world.capturedCycles();
    const std::size_t heardBefore = world.heard().size();
    world.connect(GetParam().to);
    world.run(5);

    Lines journal = world.journal(lines);
    std::erase_if(journal, [](const std::string& line) {
        return line.starts_with("first chunk") || line.starts_with("feed chunk");
    });
    EXPECT_EQ(journal, GetParam().lines);
    const auto heard = stretchesOf(world.heard());
    ASSERT_EQ(heard.size(), 2U);
    EXPECT_EQ(heard[1].number, (before + ORBMirrorDevice::warmupCycles) * cycleFrames + 1);
    // What was on its way is dropped with the next cycle: no more is heard of it than a step of the playout.
    EXPECT_LE(heard[0].at + heard[0].frames, static_cast<std::int64_t>(heardBefore) + 4096 + cycleFrames);
}

INSTANTIATE_TEST_SUITE_P(
    Changes, DeviceChangeTest,
    testing::Values(Change{{0}, {0, 1}, {newDeviceLine, askedLine, warmUpLine, resumedLine}},
                    Change{{0, 1}, {0}, {warmUpLine, resumedLine}},
                    Change{{0, 1}, {0, 2}, {warmUpLine, resumedLine}},
                    Change{{0}, {0}, {warmUpLine, resumedLine}}));

/// What resets the renderer, and the reason it gives.
struct Cause {
    std::string reason;
    std::function<void(MirrorWorld&)> act;
};

class ResetTest : public testing::TestWithParam<Cause> {};

/// Cycles of the chunk that are gathered when it happens: none of them may be heard, nor what was on its way.
TEST_P(ResetTest, keepsAPartialChunkOrQueuedSoundOrLosesAFrameAfterIt) {
    for (const std::int64_t gathered : {0, 1, 15}) {
        VirtualMirrorWorld world;
        world.connect({0, 1});
        world.play(PlayerScript().sound(60 * 44100));
        world.runCycles(ORBMirrorDevice::warmupCycles + 25 * cyclesPerChunk + gathered);
        const std::size_t lines = world.log().lines().size();
        const std::int64_t before = world.capturedCycles();
        const auto now = static_cast<std::int64_t>(world.captured().size());
        world.onMain([&] { GetParam().act(world); });
        EXPECT_THAT(world.journal(lines),
                    testing::Contains("resetRendererState(flush: true, reason: " + GetParam().reason + ")"));
        EXPECT_EQ(world.mirror().syncronizer().rate(), 0.0F);
        world.run(5);
        const auto heard = stretchesOf(world.heard());
        ASSERT_EQ(heard.size(), 2U) << gathered;
        EXPECT_LE(heard[0].at + heard[0].frames, now);
        EXPECT_EQ(heard[1].number, before * cycleFrames + 1) << gathered;
        EXPECT_EQ(heard[1].at, now + 2 * 44100);
        EXPECT_EQ(world.heard(0), world.heard(1));
    }
}

INSTANTIATE_TEST_SUITE_P(Causes, ResetTest,
                         testing::Values(Cause{"contextDevice.isMuted changed",
                                               [](MirrorWorld& world) { world.device().setMuted(true); }},
                                         Cause{"setting target devices",
                                               [](MirrorWorld& world) {
                                                   world.mirror().setTargetDevices({world.virtualDevice(1)});
                                               }},
                                         Cause{"by hand", [](MirrorWorld& world) {
                                                   world.mirror().resetRendererState(
                                                       ORBMirrorDevice::Flush::yes, "by hand");
                                               }}));

/// Chunks that the renderer's queue has not got round to fetching when a reset comes.
TEST(PendingChunkTest, outlivesAReset) {
    VirtualMirrorWorld world;
    world.connect({0});
    HandDrivenIO io(world.mirror());
    world.onMain([&] {
        io.run(ORBMirrorDevice::warmupCycles + 2 * cyclesPerChunk);
        world.mirror().resetRendererState(ORBMirrorDevice::Flush::yes, "by hand");
        io.run(cyclesPerChunk);
    });
    world.realm().settle();
    EXPECT_EQ(world.enqueued().size(), 1U);
}

/// The sizes of the sets of playing processes that follow one another within the quiet time.
TEST(ActiveProcessesTest, areJudgedBeforeTheyAreQuietOrMoreThanOnceOrWhileSomebodyPlays) {
    for (const auto& sizes : {std::vector{0}, std::vector{1, 0, 1, 0}, std::vector{0, 1, 0, 2}}) {
        VirtualMirrorWorld world;
        const auto publish = [&world](int size) {
            lmn::LMNProcessSet processes;
            for (int index = 0; index < size; ++index)
                processes.insert({.pid = foreignProcess + index, .name = "player", .deviceUID = ""});
            world.device().activeProcesses().set(std::move(processes));
            world.run(0.299);
        };
        publish(3);
        world.run(1);
        const std::size_t lines = world.log().lines().size();
        for (const int size : sizes)
            publish(size);
        EXPECT_TRUE(world.journal(lines).empty());
        world.run(1);
        Lines expected;
        if (sizes.back() == 0)
            expected = {"No active processes - flushing renderer",
                        "resetRendererState(flush: true, reason: activeProcesses became empty)"};
        EXPECT_EQ(world.journal(lines), expected);
    }
}

} // namespace
} // namespace orb
