// SPDX-License-Identifier: MIT
#include "bench/mirrorlab/Report.h"

#include "tests/orbctl/analysis/SampleReceivers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <boost/json.hpp>

namespace mirrorlab {
namespace {

using namespace orbctl::test;
using ::testing::HasSubstr;

Report goodReport() {
    Report report;
    report.parameters.soundFiles = {"a.wav"};
    report.receivers = {goodReceiver("kitchen"), goodReceiver("hall")};
    report.effectiveLatency.add(0.0, 2.0);
    return report;
}

TEST(ReportText, TellsTheVerdictAndLatenessThatNobodyHears) {
    Report report = goodReport();
    report.lateCycles = 4;
    report.worstLatenessSeconds = 0.0125;
    EXPECT_THAT(report.toText(), AllOf(HasSubstr("The mirror is perfect."), HasSubstr("4 (worst 12.5 ms)")));
    report.receivers[1].gaps = 1;
    EXPECT_THAT(report.toText(), HasSubstr("hall: 1 gaps"));
}

TEST(ReportJson, HoldsFiguresUnderTheirDocumentedKeys) {
    Report report = goodReport();
    report.receivers[1].result.againstFirst = {12 * second, 3, 77};
    report.receivers[1].result.offsetToFirst.reset();
    addBreak(report.receivers[0], jumpAt(10.0));
    const auto root = boost::json::parse(boost::json::serialize(report.toJson()));
    EXPECT_FALSE(root.at("perfect").as_bool());
    EXPECT_EQ(root.at("parameters").at("mode"), "realTime");
    EXPECT_EQ(root.at("parameters").at("chunkFrames"), 8192);
    EXPECT_EQ(root.at("effectiveLatency").at("mean"), 2.0);
    const auto& kitchen = root.at("receivers").at(0);
    EXPECT_EQ(kitchen.at("segments").at(0).at("offsetFrames"), 2 * second);
    EXPECT_EQ(kitchen.at("breaks").at(0).at("kind"), "gap");
    EXPECT_EQ(kitchen.at("breaks").at(0).at("sourceJump"), 9000);
    EXPECT_TRUE(kitchen.at("firstDifference").is_null());
    EXPECT_NEAR(kitchen.at("heardLatencies").at(0).at("seconds").as_double(), 1.75, 1e-9);
    const auto& hall = root.at("receivers").at(1);
    EXPECT_FALSE(hall.at("identicalToFirst").as_bool());
    EXPECT_EQ(hall.at("firstDifference"), 77);
    EXPECT_TRUE(hall.at("offsetToFirstFrames").is_null());
}

} // namespace
} // namespace mirrorlab
