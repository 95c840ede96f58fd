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

std::string stopLine(const char* afterPause, std::int64_t cycles) {
    return fmt::format(
        "resetRendererState(flush: true, reason: silent stop: silentAndStopped={}, silentSeconds={})",
        afterPause, LogNumber{silenceOf(cycles)});
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

class ReturnOfSoundTest : public SilenceTest, public testing::WithParamInterface<std::int64_t> {};

TEST_P(ReturnOfSoundTest, isTakenForOneAfterAFifthOfASecondOrLessOrMissedAfterMore) {
    play(GetParam() * cycleFrames);
    const int before = world.reviews();
    world.runCycles(GetParam());
    EXPECT_EQ(world.reviews(), before);
    world.runCycles(5);
    EXPECT_EQ(world.reviews() - before, static_cast<double>(GetParam()) * cycleSeconds > 0.2 ? 1 : 0);
    EXPECT_EQ(rateNow(), 1.0F);
}

INSTANTIATE_TEST_SUITE_P(SilentCycles, ReturnOfSoundTest, testing::Values(1, 16, 17, 18, 19, 100));

TEST_F(SilenceTest, stopsSoonerOrLaterThanAfterThreeSecondsOrMoreThanOnce) {
    play(30 * 44100);
    const int before = world.reviews();
    world.runCycles(cyclesToSilentStop - 1);
    EXPECT_EQ(rateNow(), 1.0F);
    const std::size_t lines = world.log().lines().size();
    world.runCycles(1);
    EXPECT_EQ(rateNow(), 0.0F);
    EXPECT_THAT(world.journal(lines), testing::ElementsAre(stopLine("false", cyclesToSilentStop)));
    EXPECT_EQ(world.reviews(), before + 1);
    world.runCycles(500);
    EXPECT_EQ(world.journal(lines).size(), 1U);
    EXPECT_EQ(world.reviews(), before + 1);
    EXPECT_NEAR(world.mirror().silentSeconds(), silenceOf(cyclesToSilentStop + 500), 1e-9);
}

TEST_F(SilenceTest, afterAPauseStopsSoonerOrLaterThanTheReportedLatency) {
    play(30 * 44100);
    world.runCycles(10);
    world.setLastPause(world.wallNow());
    world.runCycles(cyclesToPauseStop - 10 - 1);
    EXPECT_EQ(rateNow(), 1.0F);
    const std::size_t lines = world.log().lines().size();
    world.runCycles(1);
    EXPECT_EQ(rateNow(), 0.0F);
    EXPECT_THAT(world.journal(lines), testing::ElementsAre(stopLine("true", cyclesToPauseStop)));
}

TEST_F(SilenceTest, thatPlayedOutHeardNoneOfTheLatestSoundOrCutItOff) {
    play(30 * 44100);
    world.run(8);
    EXPECT_EQ(stretchesOf(world.heard()).back().last(), playedCycles * cycleFrames);
}

/// Nanoseconds between the pause and the cycle at which a stop for a pause can be due first.
class PauseAgeTest : public testing::TestWithParam<std::int64_t> {};

TEST_P(PauseAgeTest, countsAsRecentAtTheReportedLatencyOrMoreOrNotBelowIt) {
    const auto play = [](VirtualMirrorWorld& world) {
        world.connect({0});
        world.play(PlayerScript().sound(playedCycles * cycleFrames).silence(30 * 44100));
        world.runCycles(playedCycles + cyclesToPauseStop);
    };
    VirtualMirrorWorld rehearsal;
    play(rehearsal);
    VirtualMirrorWorld world;
    world.setLastPause(rehearsal.wallNow() - dispatch::Nanoseconds{GetParam()});
    play(world);
    const bool recent = static_cast<double>(GetParam()) / 1e9 < world.manager().reportedLatency();
    EXPECT_EQ(world.mirror().syncronizer().rate(), recent ? 0.0F : 1.0F);
    EXPECT_EQ(world.countLines("silentAndStopped=true"), recent ? 1U : 0U);
    world.runCycles(cyclesToSilentStop - cyclesToPauseStop);
    EXPECT_EQ(world.countLines("silentAndStopped=false"), recent ? 0U : 1U);
}

INSTANTIATE_TEST_SUITE_P(AroundTheReportedLatency, PauseAgeTest,
                         testing::Values(2'108'190'022, 2'108'190'023, 1'000'000'000, 2'200'000'000));

/// Frames by which the silence misses a whole number of cycles.
class SoundAfterStopTest : public SilenceTest, public testing::WithParamInterface<std::int64_t> {};

TEST_P(SoundAfterStopTest, losesFramesOrIsHeardAtAnotherTimeThanTheLatencyAfterItsCapture) {
    play(400 * cycleFrames + GetParam());
    world.runCycles(400);
    ASSERT_EQ(rateNow(), 0.0F);
    const std::size_t lines = world.log().lines().size();
    world.runCycles(5);
    EXPECT_THAT(world.journal(lines), testing::ElementsAre("resetRendererState(flush: true, reason: resync: "
                                                           "needsResync=false, rate=0.0)"));
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

INSTANTIATE_TEST_SUITE_P(OffTheCycle, SoundAfterStopTest, testing::Values(0, 1, 100, 511));

/// A start of which nothing has come yet, that a stop for silence has ended or that another reset has not.
/// The clock is then let go behind the device's back, so that its next chunk is timed at zero: far too late.
class AbandonedStartTest : public SilenceTest, public testing::WithParamInterface<bool> {};

TEST_P(AbandonedStartTest, getsTheCorrectionOfAStartAfterASilentStopOrLosesItByAnotherReset) {
    const bool silentStop = GetParam();
    const std::int64_t silent = silentStop ? cyclesToSilentStop : 100;
    play(silent * cycleFrames);
    world.runCycles(silent);
    if (!silentStop)
        world.mirror().resetRendererState(ORBMirrorDevice::Flush::yes, "by hand");
    ASSERT_EQ(rateNow(), 0.0F);
    world.mirror().syncronizer().setRate(1);
    world.runCycles(2 * cyclesPerChunk);
    EXPECT_EQ(world.countLines("startup sync correction"), silentStop ? 0U : 1U);
}

INSTANTIATE_TEST_SUITE_P(Ends, AbandonedStartTest, testing::Bool());

} // namespace
} // namespace orb
