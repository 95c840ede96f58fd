// SPDX-License-Identifier: MIT
#include "ORBRouteService/audio/RenderTimeline.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace orb {
namespace {

using namespace coremedia;
using Correction = RenderTimeline::Correction;

constexpr std::uint32_t chunkFrames = 8192;
constexpr double rate = 44100;
constexpr double D = chunkFrames / rate;

CMTime seconds(double value) { return CMTimeMakeWithSeconds(value, kCMTimeAudioTimescale); }

RenderTimeline::Position off(double delta) { return {.ahead = 0, .effectiveLatency = 0, .delta = delta}; }

/// Where the next chunk would begin, s.
double end(const RenderTimeline& timeline) { return timeline.buffered(kCMTimeZero); }

/// A time line in the middle of its work, so that it can move both ways.
RenderTimeline running(double syncLatency, std::uint32_t frames = chunkFrames) {
    RenderTimeline timeline(frames, rate, syncLatency);
    timeline.anchorAt(seconds(1000));
    timeline.timeChunk(frames);
    return timeline;
}

TEST(RenderTimelineTest, theFirstChunkIsOneLatencyBehindTheAnchorAndADayLaterNoFrameIsMissing) {
    for (const double latency : {2.0, 0.5, 0.0, -1.0}) {
        RenderTimeline timeline(chunkFrames, rate, latency);
        const CMTime anchor = CMTimeMake(123456789012345, kCMTimeAudioTimescale);
        timeline.reset(anchor);
        EXPECT_EQ(timeline.timeChunk(chunkFrames).start, std::nullopt) << "nobody asked for the time base";
        timeline.reset(anchor);
        timeline.requestTimebaseReset();
        const auto first = timeline.timeChunk(chunkFrames);
        ASSERT_TRUE(first.start);
        EXPECT_EQ(first.start->anchor, anchor);
        EXPECT_EQ(first.start->latency, std::max(latency, 0.0));
        EXPECT_EQ(first.presentationTime, CMTimeAdd(anchor, seconds(std::max(latency, 0.0))));
        EXPECT_EQ(first.duration, D);
        const auto second = timeline.timeChunk(512);
        EXPECT_FALSE(second.start);
        EXPECT_EQ(second.duration, 512 / rate);
        constexpr std::int64_t chunks = 24 * 3600 * 44100LL / chunkFrames;
        for (std::int64_t chunk = 1; chunk < chunks; ++chunk)
            timeline.timeChunk(chunkFrames);
        EXPECT_EQ(timeline.timeChunk(chunkFrames).presentationTime,
                  CMTimeAdd(first.presentationTime, CMTimeMake(chunks * chunkFrames + 512, 44100)));
    }
}

TEST(RenderTimelineTest, aResetForgetsThePendingAnchorAndTheTimesBefore) {
    RenderTimeline timeline = running(2);
    timeline.anchorAt(seconds(1));
    timeline.reset(seconds(50));
    EXPECT_EQ(end(timeline), 0);
    EXPECT_EQ(timeline.timeChunk(chunkFrames).presentationTime, kCMTimeZero);
    timeline.anchorAt(seconds(60));
    EXPECT_EQ(timeline.timeChunk(chunkFrames).presentationTime, seconds(62));
}

/// What a deviation to either side leads to, at a start and in the middle of playing.
struct Deviation {
    double latency, seconds, startupStep, fineStep; // a step of 0: none
    std::uint32_t frames = chunkFrames;
};

class CorrectionTest : public testing::TestWithParam<Deviation> {};

TEST_P(CorrectionTest, isTakenBeyondItsThresholdsOrByAnotherStepOrUnasked) {
    const auto [latency, deviation, startupStep, fineStep, frames] = GetParam();
    for (const bool earlier : {true, false}) {
        for (const bool atStart : {true, false}) {
            for (const bool prioritizeSync : {true, false}) {
                RenderTimeline timeline = running(latency, frames);
                if (atStart)
                    timeline.beginStartup();
                const bool startup = atStart && startupStep > 0;
                const double wanted = startup ? startupStep : prioritizeSync ? fineStep : 0;
                const double before = end(timeline);
                const auto step = timeline.correct(off(earlier ? deviation : -deviation), prioritizeSync);
                EXPECT_EQ(step.kind, wanted == 0 ? Correction::none
                                     : startup   ? Correction::startup
                                                 : Correction::fine);
                EXPECT_DOUBLE_EQ(step.seconds, wanted);
                EXPECT_EQ(step.earlier, earlier && wanted > 0);
                EXPECT_NEAR(end(timeline) - before, earlier ? -wanted : wanted, 0.5001 / rate);
            }
        }
    }
}

constexpr double coarse = 0.8 * 2.0;
constexpr double fine = 0.0005 * D;

// The thresholds of latencies far and near, and their floors; then the limits of the steps.
INSTANTIATE_TEST_SUITE_P(
    Deviations, CorrectionTest,
    testing::Values(Deviation{2, coarse, coarse, 0}, Deviation{2, std::nextafter(coarse, 0), 0, fine},
                    Deviation{2, std::nextafter(0.02, 1), 0, fine}, Deviation{2, 0.02, 0, 0},
                    Deviation{10, 8, 8, 0}, Deviation{10, 7.999, 0, fine}, Deviation{10, 0.1, 0, 0},
                    Deviation{0.6, 0.5, 0.5, 0}, Deviation{0.6, 0.499, 0, fine}, Deviation{0.6, 0.02, 0, 0},
                    Deviation{-4, 0.499, 0, fine}, Deviation{2, 3.0, 3.0, 0}, Deviation{2, 3.5, 3.0, 0},
                    Deviation{0.1, 0.9, 4 * D, 0}, Deviation{-1, 9, 4 * D, 0},
                    Deviation{2, 0.1, 0, fine / 16, 512}, Deviation{2, 0.025, 0, 0.0005, 88200},
                    Deviation{2, 0.06, 0, 0.001, 88200}));

TEST(RenderTimelineTest, aStartIsCorrectedOnceUntilAResetAndTheNextStart) {
    RenderTimeline timeline = running(2);
    EXPECT_EQ(timeline.correct(off(1.7), false).kind, Correction::none) << "no start";
    timeline.beginStartup();
    timeline.endStartup();
    EXPECT_EQ(timeline.correct(off(1.7), false).kind, Correction::none) << "ended by a stop";
    timeline.beginStartup();
    EXPECT_EQ(timeline.correct(off(0.3), false).kind, Correction::none);
    EXPECT_EQ(timeline.correct(off(-1.7), false).kind, Correction::startup) << "a small deviation used it up";
    EXPECT_EQ(timeline.correct(off(-1.7), false).kind, Correction::none);
    timeline.beginStartup();
    EXPECT_EQ(timeline.correct(off(-1.7), false).kind, Correction::none) << "without a reset";
    timeline.reset(seconds(0));
    EXPECT_EQ(timeline.correct(off(-1.7), false).kind, Correction::startup);
    timeline.reset(seconds(0));
    EXPECT_EQ(timeline.correct(off(-1.7), false).kind, Correction::none) << "the start is over";
}

} // namespace
} // namespace orb
