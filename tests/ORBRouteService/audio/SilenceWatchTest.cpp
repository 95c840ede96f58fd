// SPDX-License-Identifier: MIT
#include "ORBRouteService/audio/SilenceWatch.h"

#include <gtest/gtest.h>

#include <cmath>

namespace orb {
namespace {

/// Whose present silence has lasted `seconds`.
struct SilentWatch : SilenceWatch {
    explicit SilentWatch(double seconds) {
        note(false, 1);
        note(true, seconds);
    }
};

double above(double value) { return std::nextafter(value, 100); }

TEST(SilenceWatchTest, soundReturnsOnlyTheFirstTimeAndAfterMoreThanTheThresholdOfOneSilence) {
    SilenceWatch fresh;
    EXPECT_FALSE(fresh.note(true, 0.01));
    EXPECT_TRUE(fresh.note(false, 0.01));
    EXPECT_FALSE(fresh.note(false, 0.01)) << "it returned already";
    EXPECT_FALSE(SilentWatch(0.2).note(false, 0.01));
    EXPECT_TRUE(SilentWatch(above(0.2)).note(false, 0.01));
    SilentWatch watch(0.15);
    watch.note(false, 0.01);
    watch.note(true, 0.15);
    EXPECT_FALSE(watch.note(false, 0.01)) << "two silences were added up";
}

TEST(SilenceWatchTest, aStopIsDueOnlyAboveItsThresholdAndAPauseBringsItsOwn) {
    using enum SilenceWatch::Stop;
    struct Row {
        double silent, reportedLatency;
        SilenceWatch::Stop whenPaused, otherwise;
    };
    for (const Row& row :
         {Row{2.5, 2.5, none, none}, Row{above(2.5), 2.5, afterPause, none}, Row{3.0, 2.5, afterPause, none},
          Row{above(3.0), 2.5, afterPause, afterSilence}, Row{3.5, 4.0, afterSilence, afterSilence},
          Row{3.0, 4.0, none, none}, Row{0, -0.06, afterPause, none}}) {
        const SilentWatch watch(row.silent);
        EXPECT_EQ(watch.stopDue(true, row.reportedLatency), row.whenPaused) << row.silent;
        EXPECT_EQ(watch.stopDue(false, row.reportedLatency), row.otherwise) << row.silent;
    }
}

} // namespace
} // namespace orb
