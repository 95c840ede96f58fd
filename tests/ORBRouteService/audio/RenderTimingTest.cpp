// SPDX-License-Identifier: MIT
#include "tests/ORBRouteService/audio/MirrorWorld.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <cmath>
#include <regex>

namespace orb {
namespace {

constexpr double fineStep = 0.0005 * chunkSeconds;

/// The one log line that contains `part`, or "".
std::string lineWith(const MirrorWorld& world, std::string_view part) {
    for (const std::string& line : world.journal())
        if (line.find(part) != std::string::npos)
            return line;
    return "";
}

/// The number behind `key` in a line.
double numberIn(const std::string& line, const std::string& key) {
    const std::size_t at = line.find(key);
    return at == std::string::npos ? std::nan("") : std::stod(line.substr(at + key.size()));
}

/// The text of a line with its numbers taken out.
std::string textOf(const std::string& line) {
    static const std::regex number("-?[0-9]+(\\.[0-9]+)?(e-?[0-9]+)?");
    return std::regex_replace(line, number, "#");
}

/// Seconds by which the chunks' times leave the even line, in their order: above 0 a gap, below an overlap.
std::vector<double> shiftsOf(const MirrorWorld& world) {
    std::vector<double> shifts;
    const auto& chunks = world.enqueued();
    for (std::size_t index = 1; index < chunks.size(); ++index) {
        const auto step = CMTimeSubtract(chunks[index].presentationTime, chunks[index - 1].presentationTime);
        const double shift =
            CMTimeGetSeconds(CMTimeSubtract(step, coremedia::CMTimeMake(chunkFrames, 44100)));
        if (shift != 0)
            shifts.push_back(shift);
    }
    return shifts;
}

/// Plays to a receiver, with the wake-up that completes chunk `chunk` (from 1) late by `lateness`.
void playWithOneLateWake(VirtualMirrorWorld& world, std::int64_t chunk, double lateness) {
    world.connect({0});
    world.play(PlayerScript().sound(60 * 44100));
    world.runCycles(ORBMirrorDevice::warmupCycles + chunk * cyclesPerChunk - 2);
    world.delayNextWake(lateness);
    world.run(lateness + 3);
}

/// Seconds by which the first chunk is fed later than its time line wants, and the correction that follows.
struct Start {
    double off;
    double correction; // 0: none
    bool prioritizeSync = false;
};

class StartupCorrectionTest : public testing::TestWithParam<Start> {};

TEST_P(StartupCorrectionTest, isNotTakenOrNotByThatMuchOrMoreThanOnce) {
    const auto [off, correction, prioritizeSync] = GetParam();
    VirtualMirrorWorld world({.prioritizeSync = prioritizeSync});
    playWithOneLateWake(world, 1, off + cycleSeconds);
    const std::string line = lineWith(world, "startup sync correction");
    if (correction == 0) {
        EXPECT_EQ(line, "");
        return;
    }
    EXPECT_EQ(world.countLines("startup sync correction"), 1U);
    EXPECT_EQ(textOf(line), "startup sync correction: delta=#s, correction=#s (later), newBuffered=#");
    EXPECT_NEAR(numberIn(line, "delta="), -off, 1e-6);
    EXPECT_NEAR(numberIn(line, "correction="), correction, 1e-6);
    const auto shifts = shiftsOf(world);
    ASSERT_FALSE(shifts.empty());
    // What was timed before keeps its time. With priority those chunks have their fine steps, of whole
    // frames, in the same go.
    const double fine =
        static_cast<double>(world.countLines("micro-retime")) * std::round(fineStep * rate) / rate;
    EXPECT_EQ(fine > 0, prioritizeSync);
    EXPECT_NEAR(shifts[0], correction + fine, 1 / rate);
    EXPECT_EQ(shifts.size(), 1U);
}

INSTANTIATE_TEST_SUITE_P(Starts, StartupCorrectionTest,
                         testing::Values(Start{0, 0}, Start{1.5, 0}, Start{1.599, 0}, Start{1.601, 1.601},
                                         Start{1.7, 1.7}, Start{2.999, 2.999}, Start{3.5, 3.0},
                                         Start{1.7, 1.7, true}, Start{3.5, 3.0, true}));

TEST(StartupCorrectionOnceTest, isTakenAgainWithinAResynchronisationOrNotInTheNext) {
    VirtualMirrorWorld world;
    playWithOneLateWake(world, 1, 1.8);
    EXPECT_EQ(world.countLines("startup sync correction"), 1U);
    world.delayNextWake(1.8);
    world.run(5);
    EXPECT_EQ(world.countLines("startup sync correction"), 1U);
    world.onMain([&] { world.device().setMuted(true); });
    world.runCycles(cyclesPerChunk - 2);
    world.delayNextWake(2.5);
    world.run(5);
    EXPECT_EQ(world.countLines("startup sync correction"), 2U);
}

/// Holds the clock for most of every cycle until chunks come `off` seconds too early, and lets it run then.
void playToAClockThatLags(VirtualMirrorWorld& world, double off) {
    constexpr double heldPerCycle = 0.01;
    world.connect({0});
    world.play(PlayerScript().sound(60 * 44100));
    world.runCycles(ORBMirrorDevice::warmupCycles + 1);
    for (double held = 0; held < off; held += heldPerCycle) {
        world.mirror().syncronizer().setRate(0);
        world.run(heldPerCycle);
        world.mirror().syncronizer().setRate(1);
        world.runCycles(1);
    }
}

TEST(EarlyChunkTest, aStartThatIsTooEarlyIsNotPulledBackOrBreaksOffWhatIsQueued) {
    VirtualMirrorWorld world;
    playToAClockThatLags(world, 1.9);
    world.run(2);
    const std::string line = lineWith(world, "startup sync correction");
    EXPECT_EQ(textOf(line), "startup sync correction: delta=#s, correction=#s (earlier), newBuffered=#");
    const double correction = numberIn(line, "correction=");
    EXPECT_GE(correction, 1.6);
    EXPECT_LT(correction, 1.6 + 2 * chunkSeconds);
    EXPECT_NEAR(numberIn(line, "delta="), correction, 1e-9);
    EXPECT_NEAR(numberIn(line, "newBuffered="), 2 + cycleSeconds, chunkSeconds);
    EXPECT_THAT(shiftsOf(world), testing::ElementsAre(testing::DoubleNear(-correction, 1 / rate)));
}

TEST(EarlyChunkTest, aSmallDeviationIsRetimedInTheWrongDirectionOrWithoutPriority) {
    for (const bool prioritizeSync : {false, true}) {
        VirtualMirrorWorld world({.prioritizeSync = prioritizeSync});
        playToAClockThatLags(world, 0.1);
        world.run(2);
        const std::string line = lineWith(world, "micro-retime");
        EXPECT_EQ(textOf(line), prioritizeSync ? "micro-retime: delta=#s, step=#s (earlier), newBuffered=#"
                                               : std::string());
        EXPECT_THAT(shiftsOf(world), testing::Each(testing::Lt(0.0)));
        EXPECT_EQ(shiftsOf(world).empty(), !prioritizeSync);
    }
}

/// Seconds by which one chunk is fed late; the step that follows, 0: none.
struct Retiming {
    double off;
    double step;
    bool prioritizeSync = true;
};

class FineRetimingTest : public testing::TestWithParam<Retiming> {};

TEST_P(FineRetimingTest, isTakenWithoutPriorityOrOutsideItsBoundsOrByAnotherStep) {
    const auto [off, step, prioritizeSync] = GetParam();
    VirtualMirrorWorld world({.prioritizeSync = prioritizeSync});
    playWithOneLateWake(world, 5, off + cycleSeconds);
    const std::string line = lineWith(world, "micro-retime");
    if (step == 0) {
        EXPECT_EQ(line, "");
        EXPECT_TRUE(shiftsOf(world).empty());
        return;
    }
    EXPECT_EQ(textOf(line), "micro-retime: delta=#s, step=#s (later), newBuffered=#");
    EXPECT_NEAR(numberIn(line, "delta="), -off, 1e-6);
    EXPECT_NEAR(numberIn(line, "step="), step, 1e-12);
    // Chunks fed with it in one go may have their steps too; each is of whole frames.
    const auto shifts = shiftsOf(world);
    ASSERT_FALSE(shifts.empty());
    EXPECT_NEAR(shifts[0],
                static_cast<double>(world.countLines("micro-retime")) * std::round(step * rate) / rate, 1e-9);
}

INSTANTIATE_TEST_SUITE_P(Deviations, FineRetimingTest,
                         testing::Values(Retiming{0, 0}, Retiming{0.0199, 0}, Retiming{0.0201, fineStep},
                                         Retiming{0.1, fineStep}, Retiming{1.5, fineStep},
                                         Retiming{0.1, 0, false}, Retiming{1.5, 0, false}));

/// Fed chunks far off after the start has had its correction: neither coarse nor fine.
TEST(FineRetimingBoundTest, isTakenForADeviationThatACoarseCorrectionIsFor) {
    VirtualMirrorWorld world({.prioritizeSync = true});
    playWithOneLateWake(world, 1, 1.8);
    const std::size_t before = world.countLines("micro-retime");
    const auto shifts = shiftsOf(world);
    world.runUntilEnqueued(world.enqueued().size() + 1);
    world.delayNextWake(1.9);
    world.run(1.95);
    for (const std::string& line : world.journal()) {
        if (line.find("micro-retime") != std::string::npos) {
            EXPECT_LT(std::fabs(numberIn(line, "delta=")), 1.6) << line;
        }
    }
    EXPECT_GE(world.countLines("micro-retime"), before);
}

/// Latency, s, and whether each chunk then runs the buffer low before the next.
class LowBufferTest : public testing::TestWithParam<std::pair<double, bool>> {};

TEST_P(LowBufferTest, isLoggedTwiceInAnEpisodeOrNotInTheNextOrWithoutOne) {
    const auto [latency, low] = GetParam();
    VirtualMirrorWorld world({.latency = latency});
    world.connect({0});
    world.play(PlayerScript().sound(60 * 44100));
    world.runUntilEnqueued(20);
    EXPECT_EQ(world.countLines("low buffer"), low ? 19U : 0U);
    if (!low)
        return;
    const std::string line = lineWith(world, "low buffer");
    EXPECT_EQ(line, fmt::format("low buffer: buffered={}s (<{}s), pending=0, rate=1.0",
                                LogNumber{numberIn(line, "buffered=")}, LogNumber{0.5 * chunkSeconds}));
}

// The buffer falls to the latency plus a cycle less a chunk before the next chunk comes; half a chunk is low.
INSTANTIATE_TEST_SUITE_P(Latencies, LowBufferTest,
                         testing::Values(std::pair{0.2, true}, std::pair{0.26, true}, std::pair{0.28, false},
                                         std::pair{2.0, false}));

TEST(FeedLineTest, comesMoreOftenThanEveryFiveSecondsOrSeldomerOrForATinyDeviation) {
    // As it is fed, a chunk lies ahead by the latency less its length and a cycle: 11.6 ms off the target.
    // Cycles of 256 frames leave 5.8 ms, at a latency at which the renderer has room for so many chunks.
    for (const std::uint32_t chunkSize : {8192U, 256U}) {
        VirtualMirrorWorld world({.latency = 1.0, .chunkSize = chunkSize});
        world.connect({0});
        world.play(PlayerScript().sound(60 * 44100));
        world.run(0.5);
        std::vector<std::size_t> counts;
        for (int second = 0; second < 16; ++second) {
            counts.push_back(world.countLines("feed chunk"));
            world.run(1);
        }
        const std::vector<std::size_t> none(16, 0);
        const std::vector<std::size_t> everyFiveSeconds{1, 1, 1, 1, 1, 2, 2, 2, 2, 2, 3, 3, 3, 3, 3, 4};
        EXPECT_EQ(counts, chunkSize == 256 ? none : everyFiveSeconds);
    }
}

TEST(FeedLineTest, saysSomethingElse) {
    VirtualMirrorWorld world;
    world.connect({0});
    world.play(PlayerScript().sound(60 * 44100));
    world.runUntilEnqueued(1);
    const double time = CMTimeGetSeconds(world.enqueued()[0].presentationTime);
    const std::string line = lineWith(world, "feed chunk");
    const double ahead = numberIn(line, "ahead=");
    EXPECT_NEAR(ahead, 2 - 15 * cycleSeconds, 1e-6);
    EXPECT_EQ(line, fmt::format(
                        "feed chunk: pts={}, now={}, ahead={}s, effectiveLatency={}s, target=2.0s(base=2.0s) "
                        "rate=1.0 reported=2.108190022675737",
                        LogNumber{time}, LogNumber{numberIn(line, "now=")}, LogNumber{ahead},
                        LogNumber{chunkSeconds + ahead}));
}

} // namespace
} // namespace orb
