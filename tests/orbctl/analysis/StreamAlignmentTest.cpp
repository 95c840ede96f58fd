// SPDX-License-Identifier: MIT
#include "tests/orbctl/analysis/Analyse.h"

#include <gtest/gtest.h>

#include <array>

namespace orbctl {
namespace {

using namespace test;
using Segments = std::vector<Segment>;

constexpr FrameNumber second = framesPerSecond;

/// Expected to stand this many frames later than in the source.
StreamAnalysisOptions hinted(FrameNumber least, FrameNumber most) {
    return {.expectedOffset = OffsetRange{least, most}};
}

TEST(StreamAlignment, IsNotMisledByIdenticalRepeatsAcrossAGap) {
    const Samples source = repeated(noise(2 * second, 7), 10);
    // A gap within the fourth repeat; afterwards the sound goes on where it should be by then.
    Samples recording = joined({silence(1234), source});
    std::fill_n(recording.begin() + 7 * second * 2, 4000 * 2, 0.0F);
    EXPECT_EQ(analyse(source, recording).segments,
              (Segments{{1234, 0, 7 * second - 1234},
                        {7 * second + 4000, 7 * second + 4000 - 1234, 13 * second + 1234 - 4000}}));
}

TEST(StreamAlignment, PrefersTheHintedRepeatElseTheEarliestAtTheStart) {
    const Samples source = repeated(noise(2 * second, 8), 8);
    // Recording began with the third repeat, heard 500 frames later than it was put in.
    const Samples recording = joined({silence(4 * second + 500), cut(source, 4 * second, 16 * second)});
    const StreamResult result = analyse(source, recording, hinted(0, 1000));
    EXPECT_EQ(result.segments, (Segments{{4 * second + 500, 4 * second, 12 * second}}));
    EXPECT_EQ(result.sourceFramesLostAtStart, 4 * second);
    EXPECT_EQ(analyse(source, recording).segments[0].sourceFrame, 0);
}

TEST(StreamAlignment, FindsTheStartBeyondTheWindowWhenHintedAndStillWhenTheHintIsWrong) {
    const Samples source = noise(100 * second, 12);
    const Samples recording = joined({silence(72 * second), cut(source, 70 * second, 90 * second)});
    StreamAnalysisOptions options = hinted(second, 3 * second);
    options.mostSourceFrames = 40 * second;
    const StreamResult result = analyse(source, recording, options);
    EXPECT_EQ(result.segments, (Segments{{72 * second, 70 * second, 20 * second}}));
    EXPECT_EQ(result.sourceFramesLostAtStart, 70 * second);
    EXPECT_EQ(result.sourceFramesLostAtEnd, 10 * second);
    const Samples start = cut(source, 0, 5 * second);
    EXPECT_EQ(analyse(start, joined({silence(50 * second), start}), hinted(0, 10)).segments,
              (Segments{{50 * second, 0, 5 * second}}));
}

/// A pause of the recording longer than all source frames held; then the source goes on where it stopped, or
/// where it would be by now.
TEST(StreamAlignment, FindsTheSourceAgainAfterALongPauseWhetherItWaitedOrWentOn) {
    const Samples source = noise(60 * second, 14);
    const StreamAnalysisOptions options{.lookAheadFrames = 5 * second, .mostSourceFrames = 12 * second};
    for (const FrameNumber resumed : {10 * second, 45 * second}) {
        const Samples recording = joined(
            {cut(source, 0, 10 * second), silence(35 * second), cut(source, resumed, resumed + 8 * second)});
        const StreamResult result = analyse(source, recording, options);
        EXPECT_EQ(result.segments, (Segments{{0, 0, 10 * second}, {45 * second, resumed, 8 * second}}));
        EXPECT_EQ(result.sourceFramesLostBetween, resumed - 10 * second);
    }
}

TEST(StreamAlignment, TakesLongerSilenceInsideTheSourceForAGapOfTheExtraFramesOnly) {
    const Samples before = noise(30000, 21);
    const Samples after = noise(30000, 22);
    const Samples source = joined({before, silence(20000), after});
    const StreamResult longer = analyse(source, joined({before, silence(20100), after}));
    EXPECT_EQ(longer.breaks, (std::vector<Break>{{BreakKind::gap, 50000, 100, 0, 50000, 0, 0}}));
    EXPECT_EQ(longer.duplicatedFrames, 0);
    const StreamResult shorter = analyse(source, joined({before, silence(19900), after}));
    EXPECT_EQ(shorter.breaks, (std::vector<Break>{{BreakKind::skip, 49900, 0, 0, 49900, 100, 0}}));
    EXPECT_EQ(shorter.sourceFramesLost(), 0) << "silence is not missed";
}

TEST(StreamAlignment, KeepsItsPlaceInConstantAndPeriodicSound) {
    const Samples constant(static_cast<std::size_t>(second) * 2, 0.25F);
    Samples tone(static_cast<std::size_t>(10 * second) * 2);
    for (std::size_t i = 0; i < tone.size(); ++i)
        tone[i] = static_cast<float>(i / 2 % 64) / 64.0F - 0.4F;
    const Samples source = joined({constant, noise(1000, 2), tone, noise(1000, 4), constant});
    Samples recording = joined({silence(300), source});
    // One changed sample in each of the three kinds of sound.
    const std::array<FrameNumber, 3> faults{300 + 5000, 300 + 4 * second, framesIn(source) - 100};
    for (const FrameNumber at : faults)
        recording[static_cast<std::size_t>(at) * 2] = 0.9F;
    const StreamResult result = analyse(source, recording);
    ASSERT_EQ(result.segments.size(), 4U);
    for (const Segment& segment : result.segments)
        EXPECT_EQ(segment.offset(), 300);
    EXPECT_EQ(result.unmatchedFrames, 3);
    EXPECT_TRUE(result.sourceEndReached);
}

TEST(StreamAlignment, FindsTheLastFramesAgainThoughFewerThanAHashedWindowWhateverBlocksAreFed) {
    const Samples source = noise(3 * second, 31);
    const FrameNumber end = 3 * second;
    const Samples recording = joined(
        {silence(77), cut(source, 0, second), noise(2000, 32), cut(source, second, 2 * second), silence(9),
         cut(source, 2 * second + 5, end - 100), silence(40), cut(source, end - 100, end)});
    for (const std::size_t blockFrames : {1U, 512U, 8192U, 200'000U}) {
        const StreamResult result = analyse(source, recording, {}, RecordingEnd::withSource, blockFrames);
        EXPECT_EQ(result.segments, (Segments{{77, 0, second},
                                             {second + 2077, second, second},
                                             {2 * second + 2086, 2 * second + 5, second - 105},
                                             {end + 2021, end - 100, 100}}))
            << blockFrames;
        EXPECT_TRUE(result.sourceEndReached);
    }
}

} // namespace
} // namespace orbctl
