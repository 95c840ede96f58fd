// SPDX-License-Identifier: MIT
#include "orbctl/analysis/ReceiverSetAnalysis.h"

#include <gtest/gtest.h>

#include "tests/orbctl/sound/TestSounds.h"

namespace orbctl {
namespace {

using namespace test;

constexpr FrameNumber length = 50000;

std::vector<ReceiverResult> analyseAll(const std::vector<Samples>& recordings, int* sourcesOpened = nullptr) {
    const auto opener = [](const Samples& samples) -> OpenReader {
        return [samples] { return std::make_unique<MemoryReader>(samples); };
    };
    const OpenReader openSource = [&]() -> std::unique_ptr<FrameReader> {
        if (sourcesOpened != nullptr) {
            ++*sourcesOpened;
        }
        return std::make_unique<MemoryReader>(described(0, length));
    };
    std::vector<OpenReader> open;
    open.reserve(recordings.size());
    for (const Samples& recording : recordings) {
        open.push_back(opener(recording));
    }
    return analyseReceivers(openSource, open, {}, RecordingEnd::withSource);
}

TEST(ReceiverSetAnalysis, ReadsTheSourceOnceForIdenticalRecordings) {
    const Samples recording = joined({silence(100), described(0, length)});
    int opened = 0;
    const auto results = analyseAll({recording, recording, recording}, &opened);
    EXPECT_EQ(opened, 1);
    for (const ReceiverResult& result : results) {
        EXPECT_TRUE(result.againstFirst.identical());
        EXPECT_EQ(result.againstFirst.comparedFrames, length + 100);
        EXPECT_EQ(result.offsetToFirst, 0);
        EXPECT_EQ(result.stream, results.front().stream);
    }
}

TEST(ReceiverSetAnalysis, SeesOneReceiverShiftedByOneFrame) {
    const auto results = analyseAll(
        {joined({silence(100), described(0, length)}), joined({silence(101), described(0, length)})});
    EXPECT_FALSE(results[1].againstFirst.identical());
    EXPECT_EQ(results[1].againstFirst.firstDifference, 100);
    EXPECT_EQ(results[1].againstFirst.differingFrames, length + 1);
    EXPECT_EQ(results[1].offsetToFirst, 1);
    EXPECT_EQ(results[1].stream.matchedFrames, length);
}

TEST(ReceiverSetAnalysis, SeesOneSampleChangedInOneReceiverOnly) {
    const Samples good = joined({silence(100), described(0, length)});
    Samples bad = good;
    bad[2 * 30000 + 1] += 0.001F;
    const auto results = analyseAll({good, bad});
    EXPECT_EQ(results[1].againstFirst, (ComparisonResult{length + 100, 1, 30000}));
    EXPECT_EQ(results[1].offsetToFirst, 0);
    EXPECT_EQ(results[0].stream.breakCount, 0);
    EXPECT_EQ(results[1].stream.breakCount, 1);
}

TEST(ReceiverSetAnalysis, LetsRecordingsEndApartInSilenceButNotInSound) {
    const Samples sound = described(0, length);
    const auto results = analyseAll({joined({sound, silence(300)}), joined({sound, silence(9000)}), sound,
                                     joined({sound, silence(300), noise(4, 1)}), cut(sound, 0, length - 7)});
    EXPECT_TRUE(results[1].againstFirst.identical());
    EXPECT_EQ(results[1].stream.tailFrames, 9000);
    EXPECT_TRUE(results[2].againstFirst.identical());
    EXPECT_EQ(results[3].againstFirst, (ComparisonResult{length + 304, 4, length + 300}));
    EXPECT_EQ(results[4].againstFirst, (ComparisonResult{length + 300, 7, length - 7}));
    EXPECT_EQ(results[4].stream.sourceFramesLostAtEnd, 7);
}

} // namespace
} // namespace orbctl
