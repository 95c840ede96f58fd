// SPDX-License-Identifier: MIT
#include "ORBRouteService/audio/SilenceWatch.h"

#include <gtest/gtest.h>

#include <cmath>

namespace orb {
namespace {

using Stop = SilenceWatch::Stop;

/// Whose present silence has lasted `seconds`.
struct SilentWatch : SilenceWatch {
    explicit SilentWatch(double seconds) {
        note(false, 1);
        note(true, seconds);
    }
};

double above(double value) { return std::nextafter(value, 100); }

TEST(SilenceWatchTest, theFirstSoundOfAllReturnsHoweverShortTheSilenceBefore) {
    EXPECT_TRUE(SilenceWatch().note(false, 0.01));
    SilenceWatch watch;
    EXPECT_FALSE(watch.note(true, 0.01));
    EXPECT_TRUE(watch.note(false, 0.01));
    EXPECT_FALSE(watch.note(false, 0.01)) << "it returned already";
}

TEST(SilenceWatchTest, soundReturnsOnlyAfterMoreThanTheResumeThresholdOfOneSilence) {
    EXPECT_FALSE(SilentWatch(0.2).note(false, 0.01));
    EXPECT_TRUE(SilentWatch(above(0.2)).note(false, 0.01));
    SilentWatch watch(0.15);
    watch.note(false, 0.01);
    EXPECT_EQ(watch.silentSeconds(), 0);
    watch.note(true, 0.1);
    watch.note(true, 0.05);
    EXPECT_FALSE(watch.note(false, 0.01)) << "two silences were added up";
}

TEST(SilenceWatchTest, aStopIsDueOnlyAboveItsThresholdAndAPauseBringsItsOwn) {
    struct Row {
        double silent, reportedLatency;
        Stop whenPaused, otherwise;
    };
    for (const Row& row :
         {Row{2.5, 2.5, Stop::none, Stop::none}, Row{above(2.5), 2.5, Stop::afterPause, Stop::none},
          Row{3.0, 2.5, Stop::afterPause, Stop::none},
          Row{above(3.0), 2.5, Stop::afterPause, Stop::afterSilence},
          Row{3.5, 4.0, Stop::afterSilence, Stop::afterSilence}, Row{3.0, 4.0, Stop::none, Stop::none},
          Row{0, -0.06, Stop::afterPause, Stop::none}}) {
        const SilentWatch watch(row.silent);
        EXPECT_EQ(watch.stopDue(true, row.reportedLatency), row.whenPaused) << row.silent;
        EXPECT_EQ(watch.stopDue(false, row.reportedLatency), row.otherwise) << row.silent;
    }
}

} // namespace
} // namespace orb
