// SPDX-License-Identifier: MIT
#include "platform/airplay/FrameGrid.h"

#include <gtest/gtest.h>

namespace airplay {
namespace {

using namespace std::chrono_literals;

TEST(FrameGridTest, framesAndTimesAgreeAfterYearsAtEveryFractionOfAFrame) {
    for (const auto origin : {0ns, 1ns, 22'675ns, 987'654'321ns}) {
        const dispatch::HostTime epoch{dispatch::Nanoseconds{24h * 365 * 30} + origin};
        const FrameGrid grid(epoch);
        for (const FrameIndex frame :
             {FrameIndex{0}, FrameIndex{1}, FrameIndex{440}, FrameIndex{44100} * 86400 * 3650}) {
            const dispatch::HostTime time = grid.timeOf(frame);
            EXPECT_EQ(grid.firstNotBefore(time - 1ns), frame);
            EXPECT_EQ(grid.firstNotBefore(time + 1ns), frame + 1);
            EXPECT_EQ(grid.nearest(ticksOf(time + 11'000ns)), frame);
            EXPECT_EQ(grid.nearest(ticksOf(time + 11'400ns)), frame + 1);
        }
        EXPECT_EQ(grid.timeOf(FrameIndex{44100} * 86400 * 3650), epoch + 24h * 3650);
        EXPECT_EQ(grid.firstNotBefore(epoch - 1s), -44100);
    }
}

} // namespace
} // namespace airplay
