// SPDX-License-Identifier: MIT
#include "orbctl/analysis/ReceiverSetAnalysis.h"

#include <gtest/gtest.h>

#include "tests/orbctl/sound/TestSounds.h"

#include <algorithm>

namespace orbctl {
namespace {

using namespace test;

constexpr FrameNumber length = 50000;

std::vector<ReceiverResult> analyseAll(const std::vector<Samples>& recordings) {
    int opened = 0;
    std::vector<OpenReader> open;
    for (const Samples& recording : recordings)
        open.emplace_back([&recording] { return std::make_unique<MemoryReader>(recording); });
    const OpenReader openSource = [&opened]() -> std::unique_ptr<FrameReader> {
        ++opened;
        return std::make_unique<MemoryReader>(described(0, length));
    };
    auto results = analyseReceivers(openSource, open, {}, RecordingEnd::withSource);
    const auto differ = [](const ReceiverResult& result) { return !result.againstFirst.identical(); };
    const bool areAlike = std::none_of(results.begin(), results.end(), differ);
    EXPECT_EQ(opened == 1, areAlike) << "identical recordings are analysed once";
    return results;
}

TEST(ReceiverSetAnalysis, SeesOneReceiverShiftedByOneFrameOrOneSampleChanged) {
    const Samples good = joined({silence(100), described(0, length)});
    Samples bad = good;
    bad[2 * 30000 + 1] += 0.001F;
    const auto results = analyseAll({good, joined({silence(1), good}), bad});
    EXPECT_EQ(results[1].againstFirst, (ComparisonResult{length + 101, length + 1, 100}));
    EXPECT_EQ(results[1].offsetToFirst, 1);
    EXPECT_EQ(results[1].stream.matchedFrames, length);
    EXPECT_EQ(results[2].againstFirst, (ComparisonResult{length + 100, 1, 30000}));
    EXPECT_EQ(results[2].offsetToFirst, 0);
    EXPECT_EQ(results[0].stream.breakCount, 0);
    EXPECT_EQ(results[2].stream.breakCount, 1);
    for (const ReceiverResult& result : analyseAll({good, good, good})) {
        EXPECT_EQ(result.againstFirst.comparedFrames, length + 100);
        EXPECT_EQ(result.offsetToFirst, 0);
        EXPECT_EQ(result.stream, results.front().stream);
    }
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
