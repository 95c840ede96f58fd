// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <ostream>

#include "tests/orbctl/analysis/Analyse.h"

namespace orbctl {

void PrintTo(const Segment& segment, std::ostream* out) {
    *out << "file " << segment.fileFrame << " source " << segment.sourceFrame << " frames " << segment.frames;
}

namespace {

using namespace test;

constexpr FrameNumber length = 60000;
constexpr FrameNumber lead = 777; // silence before the first sound of a recording

/// Every frame of a recording is counted exactly once.
void expectAllFramesCounted(const StreamResult& result, const Samples& recording) {
    EXPECT_EQ(result.frames, framesIn(recording));
    EXPECT_EQ(result.frames, result.leadingSilentFrames + result.matchedFrames + result.gapFrames +
                                 result.unmatchedFrames + result.tailFrames);
}

/// A fault at source frame `at` of a recording that otherwise equals the described sound.
struct Fault {
    const char* name;
    FrameNumber at;
    Samples (*recording)(FrameNumber at);
    Break expected; // fileFrame and sourceFrame are filled in from `at`
    FrameNumber duplicated;
};

Samples around(FrameNumber end, const Samples& between, FrameNumber begin) {
    return joined({silence(lead), described(0, end), between, described(begin, length), silence(500)});
}

Samples oneDropped(FrameNumber at) { return around(at, {}, at + 1); }
Samples oneDoubled(FrameNumber at) { return around(at, {}, at - 1); }
Samples chunkRepeated(FrameNumber at) { return around(at, {}, at - 8192); }
Samples oneSilenced(FrameNumber at) { return around(at, silence(1), at + 1); }
Samples oneSilentInserted(FrameNumber at) { return around(at, silence(1), at); }
Samples delayedBySilence(FrameNumber at) { return around(at, silence(30000), at); }
Samples jumpBehindSilence(FrameNumber at) { return around(at, silence(3000), at + 20000); }
Samples noiseInPlace(FrameNumber at) { return around(at, noise(300, 5), at + 300); }

Samples lastBitChanged(FrameNumber at) {
    Samples changed = described(at, at + 1);
    changed[1] = std::nextafter(changed[1], 1.0F);
    return around(at, changed, at + 1);
}

Samples notANumber(FrameNumber at) {
    return around(at, {std::numeric_limits<float>::quiet_NaN(), described(at, at + 1)[1]}, at + 1);
}

class StreamFault : public ::testing::TestWithParam<Fault> {};

TEST_P(StreamFault, IsFoundAtItsExactFrameAndCounted) {
    const Fault& fault = GetParam();
    const Samples recording = fault.recording(fault.at);
    const StreamResult result = analyse(described(0, length), recording);
    Break expected = fault.expected;
    expected.fileFrame = lead + fault.at;
    expected.sourceFrame = fault.at;
    ASSERT_EQ(result.breaks.size(), 1U);
    EXPECT_EQ(result.breaks.front(), expected);
    const FrameNumber next = expected.sourceFrame + expected.sourceJump;
    const FrameNumber nextFile = expected.fileFrame + expected.fileFrames;
    EXPECT_EQ(result.segments, (std::vector<Segment>{{lead, 0, fault.at}, {nextFile, next, length - next}}));
    EXPECT_EQ(result.duplicatedFrames, fault.duplicated);
    EXPECT_EQ(result.sourceFramesLost(), expected.sourceFramesLost);
    EXPECT_EQ(result.tailFrames, 500);
    EXPECT_TRUE(result.sourceEndReached);
    expectAllFramesCounted(result, recording);
}

INSTANTIATE_TEST_SUITE_P(
    , StreamFault,
    ::testing::Values(
        Fault{"OneFrameDropped", 20000, oneDropped, {BreakKind::skip, 0, 0, 0, 0, 1, 1}, 0},
        Fault{"OneFrameDoubled", 20000, oneDoubled, {BreakKind::repeat, 0, 0, 0, 0, -1, 0}, 1},
        Fault{"ChunkRepeated", 20000, chunkRepeated, {BreakKind::repeat, 0, 0, 0, 0, -8192, 0}, 8192},
        Fault{"OneFrameSilenced", 20000, oneSilenced, {BreakKind::gap, 0, 1, 0, 0, 1, 1}, 0},
        Fault{"OneSilentFrameInserted", 20000, oneSilentInserted, {BreakKind::gap, 0, 1, 0, 0, 0, 0}, 0},
        Fault{"DelayedBySilence", 20000, delayedBySilence, {BreakKind::gap, 0, 30000, 0, 0, 0, 0}, 0},
        Fault{
            "JumpBehindSilence", 20000, jumpBehindSilence, {BreakKind::gap, 0, 3000, 0, 0, 20000, 20000}, 0},
        Fault{"NoiseInPlace", 20000, noiseInPlace, {BreakKind::corruption, 0, 300, 300, 0, 300, 300}, 0},
        Fault{"LastBitChanged", 20000, lastBitChanged, {BreakKind::corruption, 0, 1, 1, 0, 1, 1}, 0},
        Fault{"LastBitChangedJustBeforeTheEnd",
              length - 9,
              lastBitChanged,
              {BreakKind::corruption, 0, 1, 1, 0, 1, 1},
              0},
        Fault{"NotANumber", 20000, notANumber, {BreakKind::corruption, 0, 1, 1, 0, 1, 1}, 0}),
    [](const auto& swept) { return swept.param.name; });

TEST(StreamAnalysis, FindsNoFaultInADelayedCopy) {
    const Samples source = described(0, length);
    const Samples recording = joined({silence(88200), source, silence(1000)});
    const StreamResult result = analyse(source, recording);
    EXPECT_EQ(result.segments, (std::vector<Segment>{{88200, 0, length}}));
    EXPECT_EQ(result.breakCount, 0);
    EXPECT_EQ(result.sourceFramesLost(), 0);
    EXPECT_TRUE(result.sourceEndReached);
    expectAllFramesCounted(result, recording);
}

TEST(StreamAnalysis, TakesNegativeZerosForSilence) {
    const Samples source = joined({described(0, 5000), silence(3000), described(8000, 20000)});
    Samples recording = joined({silence(100), source});
    for (float& sample : recording) {
        sample = sample == 0.0F ? -0.0F : sample;
    }
    const StreamResult result = analyse(source, recording);
    EXPECT_EQ(result.segments, (std::vector<Segment>{{100, 0, 20000}}));
}

TEST(StreamAnalysis, MatchesNothingWhenChannelsAreSwapped) {
    const Samples source = described(0, length);
    Samples recording = source;
    for (std::size_t i = 0; i < recording.size(); i += channelCount) {
        std::swap(recording[i], recording[i + 1]);
    }
    const StreamResult result = analyse(source, recording);
    EXPECT_EQ(result.segmentCount, 0);
    EXPECT_EQ(result.unmatchedFrames, length);
    EXPECT_EQ(result.sourceFramesLostAtEnd, length);
    expectAllFramesCounted(result, recording);
}

TEST(StreamAnalysis, CountsWhatIsMissingAtTheStartButNotLeadingSilence) {
    const Samples source = joined({silence(2000), described(0, length)});
    const StreamResult late = analyse(source, joined({silence(50), described(3000, length)}));
    EXPECT_EQ(late.segments, (std::vector<Segment>{{50, 5000, length - 3000}}));
    EXPECT_EQ(late.sourceFramesLostAtStart, 3000);
    const StreamResult whole = analyse(source, joined({silence(50), described(0, length)}));
    EXPECT_EQ(whole.segments, (std::vector<Segment>{{0, 1950, length + 50}}));
    EXPECT_EQ(whole.sourceFramesLostAtStart, 0);
}

TEST(StreamAnalysis, CountsTheMissingEndOnlyWhenTheRecordingShouldHoldIt) {
    const Samples source = described(0, 400000);
    const Samples recording = described(0, 100000);
    EXPECT_EQ(analyse(source, recording).sourceFramesLostAtEnd, 300000);
    const StreamResult early = analyse(source, recording, {}, RecordingEnd::early);
    EXPECT_EQ(early.sourceFramesLostAtEnd, 0);
    EXPECT_FALSE(early.sourceEndReached);
    EXPECT_EQ(early.matchedFrames, 100000);
}

TEST(StreamAnalysis, CountsSoundBehindTheEndOfTheSourceAsForeign) {
    const Samples source = described(0, length);
    const Samples recording = joined({source, silence(700), noise(300, 9), silence(5)});
    const StreamResult result = analyse(source, recording);
    EXPECT_EQ(result.unmatchedFrames, 300);
    EXPECT_EQ(result.tailFrames, 705);
    EXPECT_TRUE(result.sourceEndReached);
    expectAllFramesCounted(result, recording);
}

TEST(StreamAnalysis, CountsForeignSoundThatIsTooLongToBeKept) {
    constexpr FrameNumber foreign = 300000;
    const Samples source = noise(foreign + 40000, 51);
    const Samples recording = joined({cut(source, 0, 20000), noise(foreign / 2, 52), silence(1000),
                                      noise(foreign / 2, 53), cut(source, foreign + 21000, foreign + 40000)});
    const StreamResult result = analyse(source, recording);
    ASSERT_EQ(result.breaks.size(), 1U);
    EXPECT_EQ(result.breaks[0], (Break{BreakKind::corruption, 20000, foreign + 1000, foreign, 20000,
                                       foreign + 1000, foreign + 1000}));
    EXPECT_EQ(result.unmatchedFrames, foreign);
    EXPECT_EQ(result.gapFrames, 1000);
    expectAllFramesCounted(result, recording);
}

TEST(StreamAnalysis, NeverLosesCountUnderManyFaults) {
    constexpr FrameNumber every = 1000;
    constexpr int faults = 600;
    const Samples source = noise(every * (faults + 1), 1);
    Samples recording = joined({silence(64), source});
    for (std::size_t i = 1; i <= faults; ++i) {
        recording[(64 + i * every) * channelCount] += 0.25F;
    }
    const StreamResult result = analyse(source, recording);
    EXPECT_EQ(result.breakCount, faults);
    EXPECT_EQ(result.unmatchedFrames, faults);
    EXPECT_EQ(result.sourceFramesLost(), faults);
    EXPECT_EQ(result.segments.back().offset(), 64);
    expectAllFramesCounted(result, recording);
}

TEST(StreamAnalysis, FollowsJumpsBackAndForthWithoutCountingHeardFramesAsLost) {
    const Samples source = noise(100000, 3);
    const Samples recording = joined({cut(source, 0, 50000), cut(source, 20000, 30000),
                                      cut(source, 50000, 60000), cut(source, 70000, 100000)});
    const StreamResult result = analyse(source, recording);
    EXPECT_EQ(result.segments,
              (std::vector<Segment>{
                  {0, 0, 50000}, {50000, 20000, 10000}, {60000, 50000, 10000}, {70000, 70000, 30000}}));
    EXPECT_EQ(result.duplicatedFrames, 10000);
    EXPECT_EQ(result.sourceFramesLost(), 10000);
}

} // namespace
} // namespace orbctl
