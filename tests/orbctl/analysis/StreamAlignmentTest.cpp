// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <array>

#include "tests/orbctl/analysis/Analyse.h"

namespace orbctl {
namespace {

using namespace test;

constexpr FrameNumber second = framesPerSecond;

TEST(StreamAlignment, IsNotMisledByIdenticalRepeatsAcrossAGap) {
    const Samples loop = noise(2 * second, 7);
    const Samples source = repeated(loop, 10);
    // A gap within the fourth repeat; afterwards the sound goes on where it should be by then.
    Samples recording = joined({silence(1234), source});
    std::fill_n(recording.begin() + 7 * second * 2, 4000 * 2, 0.0F);
    const StreamResult result = analyse(source, recording);
    ASSERT_EQ(result.segments.size(), 2U);
    EXPECT_EQ(result.segments[0], (Segment{1234, 0, 7 * second - 1234}));
    EXPECT_EQ(result.segments[1].offset(), 1234);
    EXPECT_TRUE(result.sourceEndReached);
}

TEST(StreamAlignment, PrefersTheHintedRepeatAtTheStart) {
    const Samples loop = noise(2 * second, 8);
    const Samples source = repeated(loop, 8);
    // Recording began with the third repeat, heard 500 frames later than it was put in.
    const Samples recording = joined({silence(4 * second + 500), cut(source, 4 * second, 16 * second)});
    StreamAnalysisOptions options;
    options.expectedOffset = OffsetRange{0, 1000};
    const StreamResult hinted = analyse(source, recording, options);
    ASSERT_EQ(hinted.segments.size(), 1U);
    EXPECT_EQ(hinted.segments[0].offset(), 500);
    EXPECT_EQ(hinted.sourceFramesLostAtStart, 4 * second);
    const StreamResult unhinted = analyse(source, recording);
    EXPECT_EQ(unhinted.segments[0].sourceFrame, 0) << "without a hint the earliest place is the likeliest";
}

TEST(StreamAlignment, PrefersTheNearestRepeatOfMany) {
    // The period is a multiple of the index's spacing, so that every repeat is a candidate.
    constexpr FrameNumber period = 3200;
    const Samples source = repeated(noise(period, 61), 120);
    for (const FrameNumber at : {period * 5 + 700, period * 100 + 700}) {
        const Samples recording = joined({cut(source, 0, at), cut(source, at + 100, framesIn(source))});
        const StreamResult result = analyse(source, recording);
        ASSERT_EQ(result.breaks.size(), 1U);
        EXPECT_EQ(result.breaks[0], (Break{BreakKind::skip, at, 0, 0, at, 100, 100}));
    }
}

TEST(StreamAlignment, PrefersAHintedRepeatToANearerOne) {
    constexpr FrameNumber period = 3000;
    const Samples unique = noise(20000, 62);
    const Samples source = joined({unique, repeated(noise(period, 63), 20)});
    // Offset 5000 at first, then 600; 3600 would fit as well and is nearer to 5000.
    const Samples recording = joined({silence(5000), cut(source, 0, 35000), cut(source, 39400, 80000)});
    StreamAnalysisOptions options;
    options.expectedOffset = OffsetRange{0, 1000};
    const StreamResult result = analyse(source, recording, options);
    ASSERT_EQ(result.segments.size(), 2U);
    EXPECT_EQ(result.segments[0].offset(), 5000);
    EXPECT_EQ(result.segments[1].offset(), 600);
}

TEST(StreamAlignment, PrefersTheMatchThatGoesOnToANearerOneThatDoesNot) {
    const Samples refrain = noise(1500, 64);
    const Samples end = noise(20000, 65);
    const Samples source = joined({noise(20000, 66), refrain, noise(20000, 67), refrain, end});
    const Samples recording = joined({cut(source, 0, 15000), refrain, end});
    EXPECT_EQ(analyse(source, recording).segments,
              (std::vector<Segment>{{0, 0, 15000}, {15000, 41500, 21500}}));
}

TEST(StreamAlignment, FindsTheStartBeyondTheWindowWhenHinted) {
    const Samples source = noise(100 * second, 12);
    const Samples recording = joined({silence(72 * second), cut(source, 70 * second, 90 * second)});
    StreamAnalysisOptions options;
    options.expectedOffset = OffsetRange{second, 3 * second};
    options.mostSourceFrames = 40 * second;
    const StreamResult result = analyse(source, recording, options);
    ASSERT_EQ(result.segments.size(), 1U);
    EXPECT_EQ(result.segments[0], (Segment{72 * second, 70 * second, 20 * second}));
    EXPECT_EQ(result.sourceFramesLostAtStart, 70 * second);
    EXPECT_EQ(result.sourceFramesLostAtEnd, 10 * second);
}

TEST(StreamAlignment, StillFindsTheSourceWhenTheHintIsWrong) {
    const Samples source = noise(5 * second, 13);
    StreamAnalysisOptions options;
    options.expectedOffset = OffsetRange{0, 10};
    const StreamResult result = analyse(source, joined({silence(50 * second), source}), options);
    EXPECT_EQ(result.segments, (std::vector<Segment>{{50 * second, 0, 5 * second}}));
}

/// A pause of the recording longer than all source frames held; then the source goes on where it stopped, or
/// where it would be by now.
TEST(StreamAlignment, FindsTheSourceAgainAfterALongPauseWhetherItWaitedOrWentOn) {
    const Samples source = noise(60 * second, 14);
    StreamAnalysisOptions options;
    options.lookAheadFrames = 5 * second;
    options.mostSourceFrames = 12 * second;
    for (const FrameNumber resumed : {10 * second, 45 * second}) {
        const Samples recording = joined(
            {cut(source, 0, 10 * second), silence(35 * second), cut(source, resumed, resumed + 8 * second)});
        const StreamResult result = analyse(source, recording, options);
        ASSERT_EQ(result.segments.size(), 2U) << resumed;
        EXPECT_EQ(result.segments[1], (Segment{45 * second, resumed, 8 * second}));
        EXPECT_EQ(result.breaks[0].kind, BreakKind::gap);
        EXPECT_EQ(result.sourceFramesLostBetween, resumed - 10 * second);
    }
}

TEST(StreamAlignment, TakesLongerSilenceInsideTheSourceForAGapOfTheExtraFramesOnly) {
    const Samples before = noise(30000, 21);
    const Samples after = noise(30000, 22);
    const Samples source = joined({before, silence(20000), after});
    const StreamResult longer = analyse(source, joined({before, silence(20100), after}));
    ASSERT_EQ(longer.breaks.size(), 1U);
    EXPECT_EQ(longer.breaks[0], (Break{BreakKind::gap, 50000, 100, 0, 50000, 0, 0}));
    EXPECT_EQ(longer.duplicatedFrames, 0);
    const StreamResult shorter = analyse(source, joined({before, silence(19900), after}));
    ASSERT_EQ(shorter.breaks.size(), 1U);
    EXPECT_EQ(shorter.breaks[0], (Break{BreakKind::skip, 49900, 0, 0, 49900, 100, 0}));
    EXPECT_EQ(shorter.sourceFramesLost(), 0) << "silence is not missed";
}

TEST(StreamAlignment, KeepsItsPlaceInConstantAndPeriodicSound) {
    const Samples constant(static_cast<std::size_t>(second) * 2, 0.25F);
    Samples tone(static_cast<std::size_t>(10 * second) * 2);
    for (std::size_t i = 0; i < tone.size(); ++i) {
        tone[i] = static_cast<float>(i / 2 % 64) / 64.0F - 0.4F;
    }
    const Samples source = joined({constant, noise(1000, 2), tone, noise(1000, 4), constant});
    Samples recording = joined({silence(300), source});
    // One changed sample in each of the three kinds of sound.
    const std::array<FrameNumber, 3> faults{300 + 5000, 300 + 4 * second, framesIn(source) - 100};
    for (const FrameNumber at : faults) {
        recording[static_cast<std::size_t>(at) * 2] = 0.9F;
    }
    const StreamResult result = analyse(source, recording);
    ASSERT_EQ(result.segments.size(), 4U);
    for (const Segment& segment : result.segments) {
        EXPECT_EQ(segment.offset(), 300);
    }
    EXPECT_EQ(result.unmatchedFrames, 3);
    EXPECT_TRUE(result.sourceEndReached);
}

TEST(StreamAlignment, FindsSparseClicksByTheirOrder) {
    Samples source = silence(40 * second);
    for (FrameNumber click = 0; click < 400; ++click) {
        describe(click, &source[static_cast<std::size_t>(click * 4410) * 2]);
    }
    const Samples recording = joined({silence(100), cut(source, 0, 10 * second), silence(2 * second),
                                      cut(source, 15 * second, 40 * second)});
    const StreamResult result = analyse(source, recording);
    EXPECT_EQ(result.unmatchedFrames, 0);
    EXPECT_EQ(result.segments.front().offset(), 100);
    EXPECT_EQ(result.segments.back().offset(), 100 - 3 * second);
    EXPECT_EQ(result.sourceFramesLost(), 50);
}

TEST(StreamAlignment, FindsTheLastFramesAgainThoughFewerThanAHashedWindow) {
    const Samples source = noise(20000, 41);
    const Samples recording =
        joined({silence(50), cut(source, 0, 19900), silence(40), cut(source, 19900, 20000), silence(10)});
    const StreamResult result = analyse(source, recording);
    EXPECT_EQ(result.segments, (std::vector<Segment>{{50, 0, 19900}, {19990, 19900, 100}}));
    EXPECT_TRUE(result.sourceEndReached);
}

TEST(StreamAlignment, DoesNotDependOnTheSizesOfTheBlocksFed) {
    const Samples source = noise(3 * second, 31);
    const Samples recording =
        joined({silence(77), cut(source, 0, second), noise(2000, 32), cut(source, second, 2 * second),
                silence(9), cut(source, 2 * second + 5, 3 * second)});
    const StreamResult expected = analyse(source, recording);
    EXPECT_EQ(expected.segmentCount, 3);
    for (const std::size_t blockFrames :
         {std::size_t{1}, std::size_t{512}, std::size_t{8192}, recording.size() / 2}) {
        MemoryReader reader(source);
        StreamAnalysis analysis(reader);
        for (std::size_t at = 0; at < recording.size(); at += blockFrames * 2) {
            analysis.feed(std::span(recording).subspan(at, std::min(blockFrames * 2, recording.size() - at)));
        }
        EXPECT_EQ(analysis.finish(), expected) << blockFrames;
    }
}

} // namespace
} // namespace orbctl
