// SPDX-License-Identifier: MIT
#include "orbctl/analysis/Verdict.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace orbctl {
namespace {

using ::testing::HasSubstr;

constexpr FrameNumber second = framesPerSecond;

/// A recording that begins with two seconds of silence and then holds ten seconds of the source.
ReceiverReport goodReceiver(const std::string& name) {
    ReceiverReport receiver;
    receiver.name = name;
    StreamResult& stream = receiver.result.stream;
    stream.segments = {{2 * second, 0, 10 * second}};
    stream.matchedFrames = 10 * second;
    return receiver;
}

/// A silent jump ahead of the source, as a resynchronisation at ten seconds leaves it.
Break jumpAt(double seconds) {
    return {BreakKind::gap, static_cast<FrameNumber>(seconds * 44100.0), 4000, 0, 8 * second, 9000, 9000};
}

void addBreak(ReceiverReport& receiver, const Break& record) {
    receiver.result.stream.breaks.push_back(record);
    ++receiver.result.stream.breakCount;
}

/// Nothing is wrong, until a test changes it.
struct SampleRun {
    std::vector<ReceiverReport> receivers{goodReceiver("kitchen"), goodReceiver("hall")};
    std::vector<Resynchronisation> resynchronisations{};

    Verdict verdict() const {
        return judge({.receivers = receivers, .resynchronisations = resynchronisations});
    }
};

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
        SampleRun run;
        flaw.apply(run);
        const Verdict verdict = run.verdict();
        EXPECT_FALSE(verdict.perfect) << flaw.reason;
        ASSERT_EQ(verdict.reasons.size(), 1U) << flaw.reason;
        EXPECT_THAT(verdict.reasons[0], HasSubstr(flaw.reason));
    }
}

TEST(Verdict, LetsAResynchronisationExcuseOneSilentJumpNearItPerReceiver) {
    SampleRun run;
    run.receivers[0].result.stream.sourceFramesLostAtStart = 500; // it may begin before the receivers do
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
        SampleRun guilty;
        guilty.resynchronisations = run.resynchronisations;
        addBreak(guilty.receivers[0], record);
        EXPECT_FALSE(guilty.verdict().perfect);
    }
}

TEST(Verdict, CountsBreaksThatAreNoLongerListed) {
    SampleRun run;
    run.resynchronisations = {{10.0, "late"}};
    addBreak(run.receivers[0], jumpAt(10.0));
    run.receivers[0].result.stream.breakCount = 3;
    EXPECT_THAT(run.verdict().reasons, ::testing::ElementsAre(HasSubstr("kitchen: 2 breaks")));
}

} // namespace
} // namespace orbctl
