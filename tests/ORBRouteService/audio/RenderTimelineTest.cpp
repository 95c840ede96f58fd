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

TEST(RenderTimelineTest, theFirstChunkIsOneLatencyBehindTheAnchorAndTheOthersFollowWithoutAGap) {
    for (const double latency : {2.0, 0.5, 0.0, -1.0}) {
        RenderTimeline timeline(chunkFrames, rate, latency);
        const CMTime anchor = seconds(7.25);
        timeline.reset(anchor);
        EXPECT_EQ(timeline.timeChunk(chunkFrames).start, std::nullopt) << "nobody asked for the time base";
        timeline.reset(anchor);
        timeline.requestTimebaseReset();
        const auto first = timeline.timeChunk(chunkFrames);
        ASSERT_TRUE(first.start);
        EXPECT_EQ(first.start->anchor, anchor);
        EXPECT_EQ(first.start->latency, std::max(latency, 0.0));
        EXPECT_EQ(first.duration, D);
        EXPECT_EQ(first.presentationTime, seconds(7.25 + std::max(latency, 0.0)));
        const auto second = timeline.timeChunk(512);
        EXPECT_FALSE(second.start);
        EXPECT_EQ(second.duration, 512 / rate);
        EXPECT_EQ(second.presentationTime, CMTimeAdd(first.presentationTime, CMTimeMake(chunkFrames, 44100)));
        EXPECT_EQ(timeline.timeChunk(512).presentationTime,
                  CMTimeAdd(second.presentationTime, CMTimeMake(512, 44100)));
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

TEST(RenderTimelineTest, aDayOfChunksEndsOnTheVeryFrame) {
    RenderTimeline timeline(chunkFrames, rate, 2);
    const CMTime anchor = CMTimeMake(123456789012345, kCMTimeAudioTimescale);
    timeline.anchorAt(anchor);
    CMTime last = kCMTimeZero;
    constexpr std::int64_t chunks = 24 * 3600 * 44100LL / chunkFrames;
    for (std::int64_t chunk = 0; chunk <= chunks; ++chunk) {
        last = timeline.timeChunk(chunkFrames).presentationTime;
    }
    const CMTime wanted = CMTimeAdd(anchor, CMTimeMake(2 * 44100 + chunks * chunkFrames, 44100));
    EXPECT_EQ(last, wanted);
}

TEST(RenderTimelineTest, theLatencyOfAFedChunkCountsFromItsFirstFramesCapture) {
    const RenderTimeline timeline(chunkFrames, rate, 2);
    for (const double ahead : {1.5, 2.0, 0.0, -3.0}) {
        const auto position = timeline.positionOf(seconds(10 + ahead), seconds(10));
        EXPECT_DOUBLE_EQ(position.ahead, ahead);
        EXPECT_DOUBLE_EQ(position.effectiveLatency, D + ahead);
        EXPECT_DOUBLE_EQ(position.delta, D + ahead - 2);
    }
}

TEST(RenderTimelineTest, theThresholdsFollowTheLatencyDownToTheirFloors) {
    struct Row {
        double latency, coarse, fine;
    };
    for (const Row& row : {Row{2, 1.6, 0.02}, Row{10, 8, 0.1}, Row{0.625, 0.5, 0.02}, Row{0.6, 0.5, 0.02},
                           Row{2.5, 2, 0.025}, Row{0, 0.5, 0.02}, Row{-4, 0.5, 0.02}}) {
        const RenderTimeline timeline(chunkFrames, rate, row.latency);
        EXPECT_DOUBLE_EQ(timeline.coarseThreshold(), row.coarse) << row.latency;
        EXPECT_DOUBLE_EQ(timeline.fineThreshold(), row.fine) << row.latency;
    }
}

TEST(RenderTimelineTest, aStartIsCorrectedFromTheCoarseThresholdOnByAtMostItsLimit) {
    struct Row {
        double latency, deviation, step; // step 0: none
    };
    const double coarse = 0.8 * 2.0;
    for (const Row& row : {Row{2, 1.7, 1.7}, Row{2, 3.0, 3.0}, Row{2, 3.5, 3.0}, Row{2, 1.5, 0},
                           Row{2, coarse, coarse}, Row{2, std::nextafter(coarse, 0), 0}, Row{0.1, 0.5, 0.5},
                           Row{0.1, 0.9, 4 * D}, Row{0.1, 0.499, 0}, Row{-1, 9, 4 * D}}) {
        for (const bool earlier : {true, false}) {
            RenderTimeline timeline = running(row.latency);
            timeline.beginStartup();
            const double before = end(timeline);
            const auto step = timeline.correct(off(earlier ? row.deviation : -row.deviation), false);
            EXPECT_EQ(step.kind, row.step > 0 ? Correction::startup : Correction::none) << row.deviation;
            EXPECT_DOUBLE_EQ(step.seconds, row.step) << row.deviation;
            EXPECT_EQ(step.earlier, earlier && row.step > 0);
            EXPECT_NEAR(end(timeline) - before, earlier ? -row.step : row.step, 0.5001 / rate);
        }
    }
}

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

TEST(RenderTimelineTest, fineStepsAreTakenStrictlyBetweenTheThresholdsAndOnlyWithPriority) {
    struct Row {
        std::uint32_t frames;
        double deviation, step; // step 0: none
    };
    const double coarse = 0.8 * 2.0;
    const double share = 0.0005;
    for (const Row& row :
         {Row{8192, 0.1, share * D}, Row{8192, 0.02, 0}, Row{8192, std::nextafter(0.02, 1), share * D},
          Row{8192, 1.0, share * D}, Row{8192, std::nextafter(coarse, 0), share * D}, Row{8192, coarse, 0},
          Row{8192, 0.001, 0}, Row{512, 0.1, share * 512 / rate}, Row{88200, 0.025, 0.02 * 0.025},
          Row{88200, 0.06, share * 2}}) {
        for (const bool earlier : {true, false}) {
            const auto position = off(earlier ? row.deviation : -row.deviation);
            RenderTimeline timeline = running(2, row.frames);
            const double before = end(timeline);
            EXPECT_EQ(timeline.correct(position, false).kind, Correction::none);
            EXPECT_EQ(end(timeline), before);
            const auto step = timeline.correct(position, true);
            EXPECT_EQ(step.kind, row.step > 0 ? Correction::fine : Correction::none) << row.deviation;
            EXPECT_DOUBLE_EQ(step.seconds, row.step) << row.deviation;
            EXPECT_EQ(step.earlier, earlier && row.step > 0);
            EXPECT_NEAR(end(timeline) - before, earlier ? -row.step : row.step, 0.5001 / rate);
        }
    }
}

TEST(RenderTimelineTest, aCorrectionMovesTheNextChunkByWholeFramesAndDurationsStay) {
    RenderTimeline timeline = running(2);
    timeline.correct(off(0.1), true); // 0.0005 x 8192 frames, to the nearest
    const auto next = timeline.timeChunk(chunkFrames);
    EXPECT_EQ(next.presentationTime, CMTimeAdd(seconds(1002), CMTimeMake(chunkFrames - 4, 44100)));
    EXPECT_EQ(timeline.timeChunk(chunkFrames).presentationTime,
              CMTimeAdd(next.presentationTime, CMTimeMake(chunkFrames, 44100)));
}

} // namespace
} // namespace orb
