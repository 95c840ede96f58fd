// SPDX-License-Identifier: MIT
#include "tests/orbctl/analysis/Analyse.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace orbctl {
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

/// Behind source frame `at` stands `between`, then the source goes on `jump` frames further.
struct Fault {
    BreakKind kind;
    Samples between;
    FrameNumber jump;
    FrameNumber at = 20000;
};

Samples lastBitChanged(FrameNumber at) {
    Samples changed = described(at, at + 1);
    changed[1] = std::nextafter(changed[1], 1.0F);
    return changed;
}

class StreamFault : public ::testing::TestWithParam<Fault> {};

TEST_P(StreamFault, IsFoundAtItsExactFrameAndCounted) {
    const auto& [kind, between, jump, at] = GetParam();
    const FrameNumber next = at + jump;
    const Samples recording =
        joined({silence(lead), described(0, at), between, described(next, length), silence(500)});
    const StreamResult result = analyse(described(0, length), recording);
    const FrameNumber lost = std::max<FrameNumber>(jump, 0);
    const FrameNumber frames = framesIn(between);
    const FrameNumber sounding = kind == BreakKind::corruption ? frames : 0;
    EXPECT_EQ(result.breaks, std::vector<Break>({{kind, lead + at, frames, sounding, at, jump, lost}}));
    EXPECT_EQ(result.segments,
              (std::vector<Segment>{{lead, 0, at}, {lead + at + frames, next, length - next}}));
    EXPECT_EQ(result.duplicatedFrames, lost - jump);
    EXPECT_EQ(result.sourceFramesLost(), lost);
    EXPECT_EQ(result.tailFrames, 500);
    EXPECT_TRUE(result.sourceEndReached);
    expectAllFramesCounted(result, recording);
}

INSTANTIATE_TEST_SUITE_P(
    , StreamFault,
    ::testing::Values(Fault{BreakKind::skip, {}, 1}, Fault{BreakKind::repeat, {}, -1},
                      Fault{BreakKind::repeat, {}, -8192}, Fault{BreakKind::gap, silence(1), 1},
                      Fault{BreakKind::gap, silence(1), 0}, Fault{BreakKind::gap, silence(30000), 0},
                      Fault{BreakKind::gap, silence(3000), 20000},
                      Fault{BreakKind::corruption, noise(300, 5), 300},
                      Fault{BreakKind::corruption, lastBitChanged(20000), 1},
                      Fault{BreakKind::corruption, lastBitChanged(length - 9), 1, length - 9},
                      Fault{BreakKind::corruption, {std::numeric_limits<float>::quiet_NaN(), 0.1F}, 1}));

TEST(StreamAnalysis, DoesNotMissTheSilenceInFrontOfTheSource) {
    const Samples source = joined({silence(2000), described(0, length)});
    const StreamResult whole = analyse(source, joined({silence(50), described(0, length)}));
    EXPECT_EQ(whole.segments, (std::vector<Segment>{{0, 1950, length + 50}}));
    EXPECT_EQ(whole.sourceFramesLostAtStart, 0);
}

TEST(StreamAnalysis, CountsTheMissingEndOnlyWhenTheRecordingShouldHoldItAndSoundBehindItAsForeign) {
    const Samples source = described(0, 400000);
    const Samples recording = described(0, 100000);
    EXPECT_EQ(analyse(source, recording).sourceFramesLostAtEnd, 300000);
    const StreamResult early = analyse(source, recording, {}, RecordingEnd::early);
    EXPECT_EQ(early.sourceFramesLostAtEnd, 0);
    EXPECT_FALSE(early.sourceEndReached);
    const Samples longer = joined({source, silence(700), noise(300, 9), silence(5)});
    const StreamResult result = analyse(source, longer);
    EXPECT_EQ(result.unmatchedFrames, 300);
    EXPECT_EQ(result.tailFrames, 705);
    EXPECT_TRUE(result.sourceEndReached);
    expectAllFramesCounted(result, longer);
}

TEST(StreamAnalysis, CountsForeignSoundThatIsTooLongToBeKept) {
    constexpr FrameNumber foreign = 300000;
    const Samples source = noise(foreign + 40000, 51);
    const Samples recording = joined({cut(source, 0, 20000), noise(foreign / 2, 52), silence(1000),
                                      noise(foreign / 2, 53), cut(source, foreign + 21000, foreign + 40000)});
    const StreamResult result = analyse(source, recording);
    EXPECT_EQ(result.breaks, std::vector<Break>({{BreakKind::corruption, 20000, foreign + 1000, foreign,
                                                  20000, foreign + 1000, foreign + 1000}}));
    EXPECT_EQ(result.gapFrames, 1000);
    expectAllFramesCounted(result, recording);
}

TEST(StreamAnalysis, NeverLosesCountUnderManyFaults) {
    constexpr FrameNumber every = 1000;
    constexpr int faults = 600;
    const Samples source = noise(every * (faults + 1), 1);
    Samples recording = joined({silence(64), source});
    for (std::size_t i = 1; i <= faults; ++i)
        recording[(64 + i * every) * channelCount] += 0.25F;
    const StreamResult result = analyse(source, recording);
    EXPECT_EQ(result.breakCount, faults);
    EXPECT_EQ(result.unmatchedFrames, faults);
    EXPECT_EQ(result.sourceFramesLost(), faults);
    EXPECT_EQ(result.segments.back().offset(), 64);
    expectAllFramesCounted(result, recording);
}

} // namespace
} // namespace orbctl
