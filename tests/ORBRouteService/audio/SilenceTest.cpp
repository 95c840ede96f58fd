// SPDX-License-Identifier: MIT
#include "tests/ORBRouteService/audio/MirrorWorld.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

namespace orb {
namespace {

constexpr std::int64_t playedCycles = 40;

/// The first number of cycles of silence that is more than the reported latency of 2.108 s, and than 3 s.
constexpr std::int64_t cyclesToPauseStop = 182;
constexpr std::int64_t cyclesToSilentStop = 259;

/// What `cycles` silent cycles add up to, in the order of their coming.
double silenceOf(std::int64_t cycles) {
    double seconds = 0;
    for (std::int64_t cycle = 0; cycle < cycles; ++cycle)
        seconds += cycleSeconds;
    return seconds;
}

/// Sound of `playedCycles`, then `silentFrames` of silence while the player stays, then sound again.
class SilenceTest : public testing::Test {
  public:
    void play(std::int64_t silentFrames) {
        world.connect({0, 1});
        world.run(0.2);
        world.play(PlayerScript().sound(playedCycles * cycleFrames).silence(silentFrames).sound(10 * 44100));
        world.runCycles(playedCycles);
    }

    float rateNow() { return world.mirror().syncronizer().rate(); }

    VirtualMirrorWorld world;
};

class SilentStopTest : public SilenceTest, public testing::WithParamInterface<bool> {};

/// Swept over: whether the user paused after the sound.
TEST_P(SilentStopTest, comesSoonerOrLaterThanItsThresholdOrMoreThanOnce) {
    const bool paused = GetParam();
    const std::int64_t cycles = paused ? cyclesToPauseStop : cyclesToSilentStop;
    play(30 * 44100);
    const int before = world.reviews();
    world.runCycles(10);
    if (paused)
        world.setLastPause(world.now());
    world.runCycles(cycles - 10 - 1);
    EXPECT_EQ(rateNow(), 1.0F);
    const std::size_t lines = world.log().lines().size();
    world.runCycles(1);
    EXPECT_EQ(rateNow(), 0.0F);
    world.runCycles(500);
    EXPECT_THAT(world.journal(lines),
                testing::ElementsAre(fmt::format("resetRendererState(flush: true, reason: silent stop: "
                                                 "silentAndStopped={}, silentSeconds={})",
                                                 paused, LogNumber{silenceOf(cycles)})));
    EXPECT_EQ(world.reviews(), before + 1);
}

INSTANTIATE_TEST_SUITE_P(Paused, SilentStopTest, testing::Bool());

/// Frames by which the silence misses a whole number of cycles.
class SoundAfterStopTest : public SilenceTest, public testing::WithParamInterface<std::int64_t> {};

TEST_P(SoundAfterStopTest, losesFramesOrIsHeardAtAnotherTimeThanTheLatencyAfterItsCapture) {
    play(400 * cycleFrames + GetParam());
    world.runCycles(400);
    ASSERT_EQ(rateNow(), 0.0F);
    world.run(5);
    const auto played = stretchesOf(world.captured());
    const auto heard = stretchesOf(world.heard());
    ASSERT_EQ(played.size(), 2U);
    ASSERT_EQ(heard.size(), 2U);
    EXPECT_EQ(heard[0].last(), played[0].last());
    EXPECT_EQ(heard[1].number, played[1].number);
    EXPECT_EQ(heard[1].at, played[1].at + 2 * 44100);
    EXPECT_EQ(world.heard(0), world.heard(1));
}

INSTANTIATE_TEST_SUITE_P(OffTheCycle, SoundAfterStopTest, testing::Values(0, 1, 511));

TEST(ReconnectPauseTest, aReconnectionIsAskedForWithinTheReportedLatencyOfAPauseOrNoMoreAfterIt) {
    const auto play = [](VirtualMirrorWorld& world) {
        world.connect({0});
        world.play(PlayerScript().sound(60 * 44100));
        world.runCycles(1);
    };
    VirtualMirrorWorld rehearsal;
    play(rehearsal);
    for (const std::int64_t age : {2'108'190'022, 2'108'190'023}) { // ns, when the sound comes back
        VirtualMirrorWorld world;
        world.setLastPause(rehearsal.now() - dispatch::Nanoseconds{age});
        play(world);
        EXPECT_EQ(world.mirror().needsReconnect(),
                  static_cast<double>(age) / 1e9 >= world.manager().reportedLatency());
    }
}

} // namespace
} // namespace orb
