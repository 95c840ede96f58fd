// SPDX-License-Identifier: MIT
#include "orbctl/analysis/LatencySeries.h"

#include <gtest/gtest.h>

#include <cmath>

namespace orbctl {
namespace {

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
        if (values + point.values < 10000) {
            EXPECT_EQ(point.values, series.points().front().values);
        }
        values += point.values;
        spikeSeen = spikeSeen || (point.most == 3.0 && point.timeSeconds <= 777.7);
        EXPECT_LE(point.least, point.mean);
    }
    EXPECT_EQ(values, 10000U);
    EXPECT_TRUE(spikeSeen);
}

} // namespace
} // namespace orbctl
