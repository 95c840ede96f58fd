// SPDX-License-Identifier: MIT
#include "bench/mirrorlab/Report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <boost/json.hpp>

#include <cmath>

namespace mirrorlab {
namespace {

using ::testing::HasSubstr;

constexpr FrameNumber second = framesPerSecond;

ReceiverReport goodReceiver(const std::string& name) {
    ReceiverReport receiver;
    receiver.name = name;
    receiver.file = name + ".wav";
    StreamResult& stream = receiver.result.stream;
    stream.segments = {{2 * second, 0, 10 * second}};
    stream.segmentCount = 1;
    stream.frames = 12 * second;
    stream.leadingSilentFrames = 2 * second;
    stream.matchedFrames = 10 * second;
    stream.sourceEndReached = true;
    receiver.result.offsetToFirst = 0;
    receiver.heardLatencies = heardLatencies(stream, 0.25);
    return receiver;
}

Report goodReport() {
    Report report;
    report.parameters.soundFiles = {"a.wav"};
    report.receivers = {goodReceiver("kitchen"), goodReceiver("hall")};
    report.effectiveLatency.add(0.0, 2.0);
    return report;
}

/// A silent jump ahead of the source, as a resynchronisation at ten seconds leaves it.
Break jumpAt(double seconds) {
    return {BreakKind::gap, static_cast<FrameNumber>(seconds * 44100.0), 4000, 0, 8 * second, 9000, 9000};
}

void addBreak(ReceiverReport& receiver, const Break& record) {
    receiver.result.stream.breaks.push_back(record);
    ++receiver.result.stream.breakCount;
}

TEST(Verdict, IsPerfectWhenNothingIsWrong) {
    Report report = goodReport();
    // The sound may have begun before the receivers did, and the player may have waited.
    report.receivers[0].result.stream.sourceFramesLostAtStart = 500;
    report.playerUnderruns = 1;
    EXPECT_TRUE(report.verdict().perfect);
    EXPECT_TRUE(report.verdict().reasons.empty());
    EXPECT_THAT(report.toText(), HasSubstr("The mirror is perfect."));
}

TEST(Verdict, IsImperfectForEveryKindOfFaultAndNamesIt) {
    struct Flaw {
        const char* reason;
        void (*apply)(Report&);
    };
    const Flaw flaws[] = {
        {"no receiver took part", [](Report& report) { report.receivers.clear(); }},
        {"hall: differs from kitchen in 3 frames, first at 2.000 s",
         [](Report& report) {
             report.receivers[1].result.againstFirst = {12 * second, 3, 2 * second};
         }},
        {"hall: nothing of the source", [](Report& report) { report.receivers[1].result.stream = {}; }},
        {"hall: 1 breaks", [](Report& report) { addBreak(report.receivers[1], jumpAt(10.0)); }},
        {"kitchen: 1 frames of sound are not in the source",
         [](Report& report) { report.receivers[0].result.stream.unmatchedFrames = 1; }},
        {"kitchen: 2 frames of the source are heard more than once",
         [](Report& report) { report.receivers[0].result.stream.duplicatedFrames = 2; }},
        {"kitchen: 9 frames are missing at the end",
         [](Report& report) { report.receivers[0].result.stream.sourceFramesLostAtEnd = 9; }},
        {"hall: 1 gaps", [](Report& report) { report.receivers[1].gaps = 1; }},
        {"hall: 1 overlaps", [](Report& report) { report.receivers[1].overlaps = 1; }},
        {"hall: 1 late buffers", [](Report& report) { report.receivers[1].lateBuffers = 1; }},
    };
    for (const Flaw& flaw : flaws) {
        Report report = goodReport();
        flaw.apply(report);
        const Verdict verdict = report.verdict();
        EXPECT_FALSE(verdict.perfect) << flaw.reason;
        ASSERT_EQ(verdict.reasons.size(), 1U) << flaw.reason;
        EXPECT_THAT(verdict.reasons[0], HasSubstr(flaw.reason));
        EXPECT_THAT(report.toText(), HasSubstr(flaw.reason));
    }
}

TEST(Verdict, IsNotSpoiledByLatenessThatNobodyHears) {
    Report report = goodReport();
    report.lateCycles = 4;
    report.worstLatenessSeconds = 0.0125;
    EXPECT_TRUE(report.verdict().perfect);
    EXPECT_THAT(report.toText(), HasSubstr("4 (worst 12.5 ms)"));
}

TEST(Verdict, LetsAResynchronisationExcuseOneSilentJumpNearItPerReceiver) {
    Report report = goodReport();
    report.resynchronisations = {{10.0, "the device fell silent"}};
    addBreak(report.receivers[0], jumpAt(11.0));
    addBreak(report.receivers[1], jumpAt(12.5));
    EXPECT_TRUE(report.verdict().perfect);
    addBreak(report.receivers[1], jumpAt(10.2));
    EXPECT_FALSE(report.verdict().perfect) << "one resynchronisation does not excuse two jumps";

    Break far = jumpAt(14.0);
    Break foreign = jumpAt(10.0);
    foreign.nonSilentFrames = 1;
    Break back = jumpAt(10.0);
    back.sourceJump = -1;
    for (const Break& record : {far, foreign, back}) {
        Report guilty = goodReport();
        guilty.resynchronisations = report.resynchronisations;
        addBreak(guilty.receivers[0], record);
        EXPECT_FALSE(guilty.verdict().perfect);
    }
}

TEST(Verdict, CountsBreaksThatAreNoLongerListed) {
    Report report = goodReport();
    report.resynchronisations = {{10.0, "late"}};
    addBreak(report.receivers[0], jumpAt(10.0));
    report.receivers[0].result.stream.breakCount = 3;
    EXPECT_THAT(report.verdict().reasons, ::testing::ElementsAre(HasSubstr("kitchen: 2 breaks")));
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

TEST(LatencySeries, KeepsEveryExtremeInFewEvenlySpacedPoints) {
    LatencySeries series(16);
    double sum = 0.0;
    for (int i = 0; i < 10000; ++i) {
        const double value = i == 7777 ? 3.0 : 2.0 + 0.001 * std::sin(i);
        sum += value;
        series.add(i * 0.1, value);
    }
    EXPECT_LE(series.points().size(), 16U);
    EXPECT_GE(series.points().size(), 8U);
    EXPECT_EQ(series.whole().most, 3.0);
    EXPECT_NEAR(series.whole().mean, sum / 10000, 1e-9);
    std::size_t values = 0;
    bool spikeSeen = false;
    for (const auto& point : series.points()) {
        values += point.values;
        spikeSeen = spikeSeen || (point.most == 3.0 && point.timeSeconds <= 777.7);
        EXPECT_LE(point.least, point.mean);
        EXPECT_LE(point.mean, point.most);
    }
    EXPECT_EQ(values, 10000U);
    for (std::size_t i = 0; i + 1 < series.points().size(); ++i) {
        EXPECT_EQ(series.points()[i].values, series.points().front().values);
    }
    EXPECT_TRUE(spikeSeen);
}

} // namespace
} // namespace mirrorlab
