// SPDX-License-Identifier: MIT
#include "orbctl/analysis/Verdict.h"

#include "tests/orbctl/analysis/SampleReceivers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace orbctl {
namespace {

using namespace test;
using ::testing::HasSubstr;

struct SampleRun {
    std::vector<ReceiverReport> receivers;
    std::vector<Resynchronisation> resynchronisations;

    Verdict verdict() const {
        return judge({.receivers = receivers, .resynchronisations = resynchronisations});
    }
};

SampleRun goodSampleRun() {
    return {.receivers = {goodReceiver("kitchen"), goodReceiver("hall")}, .resynchronisations = {}};
}

TEST(Verdict, IsPerfectWhenNothingIsWrong) {
    SampleRun run = goodSampleRun();
    // The sound may have begun before the receivers did, and the player may have waited.
    run.receivers[0].result.stream.sourceFramesLostAtStart = 500;
    EXPECT_TRUE(run.verdict().perfect);
    EXPECT_TRUE(run.verdict().reasons.empty());
}

TEST(Verdict, IsImperfectForEveryKindOfFaultAndNamesIt) {
    struct Flaw {
        const char* reason;
        void (*apply)(SampleRun&);
    };
    const Flaw flaws[] = {
        {"no receiver took part", [](SampleRun& run) { run.receivers.clear(); }},
        {"hall: differs from kitchen in 3 frames, first at 2.000 s",
         [](SampleRun& run) {
             run.receivers[1].result.againstFirst = {12 * second, 3, 2 * second};
         }},
        {"hall: nothing of the source", [](SampleRun& run) { run.receivers[1].result.stream = {}; }},
        {"hall: 1 breaks", [](SampleRun& run) { addBreak(run.receivers[1], jumpAt(10.0)); }},
        {"kitchen: 1 frames of sound are not in the source",
         [](SampleRun& run) { run.receivers[0].result.stream.unmatchedFrames = 1; }},
        {"kitchen: 2 frames of the source are heard more than once",
         [](SampleRun& run) { run.receivers[0].result.stream.duplicatedFrames = 2; }},
        {"kitchen: 9 frames are missing at the end",
         [](SampleRun& run) { run.receivers[0].result.stream.sourceFramesLostAtEnd = 9; }},
        {"hall: 1 gaps", [](SampleRun& run) { run.receivers[1].gaps = 1; }},
        {"hall: 1 overlaps", [](SampleRun& run) { run.receivers[1].overlaps = 1; }},
        {"hall: 1 late buffers", [](SampleRun& run) { run.receivers[1].lateBuffers = 1; }},
    };
    for (const Flaw& flaw : flaws) {
        SampleRun run = goodSampleRun();
        flaw.apply(run);
        const Verdict verdict = run.verdict();
        EXPECT_FALSE(verdict.perfect) << flaw.reason;
        ASSERT_EQ(verdict.reasons.size(), 1U) << flaw.reason;
        EXPECT_THAT(verdict.reasons[0], HasSubstr(flaw.reason));
    }
}

TEST(Verdict, LetsAResynchronisationExcuseOneSilentJumpNearItPerReceiver) {
    SampleRun run = goodSampleRun();
    run.resynchronisations = {{10.0, "the device fell silent"}};
    addBreak(run.receivers[0], jumpAt(11.0));
    addBreak(run.receivers[1], jumpAt(12.5));
    EXPECT_TRUE(run.verdict().perfect);
    addBreak(run.receivers[1], jumpAt(10.2));
    EXPECT_FALSE(run.verdict().perfect) << "one resynchronisation does not excuse two jumps";

    Break far = jumpAt(14.0);
    Break foreign = jumpAt(10.0);
    foreign.nonSilentFrames = 1;
    Break back = jumpAt(10.0);
    back.sourceJump = -1;
    for (const Break& record : {far, foreign, back}) {
        SampleRun guilty = goodSampleRun();
        guilty.resynchronisations = run.resynchronisations;
        addBreak(guilty.receivers[0], record);
        EXPECT_FALSE(guilty.verdict().perfect);
    }
}

TEST(Verdict, CountsBreaksThatAreNoLongerListed) {
    SampleRun run = goodSampleRun();
    run.resynchronisations = {{10.0, "late"}};
    addBreak(run.receivers[0], jumpAt(10.0));
    run.receivers[0].result.stream.breakCount = 3;
    EXPECT_THAT(run.verdict().reasons, ::testing::ElementsAre(HasSubstr("kitchen: 2 breaks")));
}

} // namespace
} // namespace orbctl
