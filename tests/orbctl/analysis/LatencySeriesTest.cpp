// SPDX-License-Identifier: MIT
#include "orbctl/analysis/LatencySeries.h"

#include <gtest/gtest.h>

namespace orbctl {
namespace {

TEST(LatencySeries, KeepsEveryExtremeInFewEvenlySpacedPoints) {
    LatencySeries series(16);
    for (int i = 0; i < 10000; ++i)
        series.add(i * 0.1, i == 7777 ? 3.0 : 2.0);
    EXPECT_EQ(series.whole().most, 3.0);
    EXPECT_NEAR(series.whole().mean, 2.0001, 1e-9);
    ASSERT_EQ(series.points().size(), 10U); // of 1024 values each, but the last
    for (std::size_t index = 0; index < 10; ++index) {
        const LatencySeries::Point& point = series.points()[index];
        EXPECT_EQ(point.values, index == 9 ? 10000U - 9 * 1024 : 1024U);
        EXPECT_NEAR(point.timeSeconds, 102.4 * static_cast<double>(index), 1e-6);
        EXPECT_EQ(point.least, 2.0);
        EXPECT_EQ(point.most, index == 7 ? 3.0 : 2.0);
    }
}

} // namespace
} // namespace orbctl
