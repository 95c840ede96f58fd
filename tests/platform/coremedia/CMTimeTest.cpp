// SPDX-License-Identifier: MIT
#include "platform/coremedia/CMTime.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <numeric>
#include <tuple>
#include <utility>
#include <vector>

namespace coremedia {
namespace {

using Method = CMTimeRoundingMethod;
using Wide = detail::Int128;

constexpr int64_t kMax = std::numeric_limits<int64_t>::max();
constexpr int64_t kMin = std::numeric_limits<int64_t>::min();
constexpr int32_t kScaleMax = std::numeric_limits<int32_t>::max();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

CMTime rounded(int64_t value, int32_t timescale) {
    return {value, timescale, kCMTimeFlagsValid | kCMTimeFlagsHasBeenRounded, 0};
}

CMTime inEpoch(int64_t value, int64_t epoch) { return {value, 1, kCMTimeFlagsValid, epoch}; }

// Field by field, where == would take any spelling of a time.
void expectSame(const CMTime& actual, const CMTime& expected) {
    EXPECT_EQ(actual.value, expected.value);
    EXPECT_EQ(actual.timescale, expected.timescale);
    EXPECT_EQ(actual.flags, expected.flags);
    EXPECT_EQ(actual.epoch, expected.epoch);
}

TEST(CMTimeTest, secondsAreRoundedOnceAndFlaggedByTheirExactBinaryValue) {
    const std::tuple<double, int32_t, CMTime> cases[] = {
        {std::nextafter(0.5, 0.0), 1, rounded(0, 1)},          // adding one half in doubles would carry to 1
        {2251799813685248.5, 1, rounded(2251799813685249, 1)}, // the last half a double has room for
        {std::numeric_limits<double>::denorm_min(), kScaleMax, rounded(0, kScaleMax)},
        {0x1p32, kScaleMax, CMTimeMake(kMax - 0xFFFFFFFF, kScaleMax)},
        {std::nextafter(0x1p63, 0.0), 600, CMTimeMake(kMax - 1023, 1)},
        {-0x1p63, kScaleMax, CMTimeMake(kMin, 1)},
        {0x1p63, 1, kCMTimePositiveInfinity},
        {std::nextafter(-0x1p63, -kInfinity), 1, kCMTimeNegativeInfinity},
        {kNaN, 1, kCMTimeInvalid},
        {1.0, 0, kCMTimeInvalid},
    };
    for (const auto& [seconds, timescale, expected] : cases) {
        SCOPED_TRACE(testing::Message() << seconds << " at " << timescale);
        expectSame(CMTimeMakeWithSeconds(seconds, timescale), expected);
    }
}

TEST(CMTimeTest, onlyNumbersHaveFiniteSeconds) {
    EXPECT_EQ(CMTimeGetSeconds(CMTimeMake(-3, 2)), -1.5);
    EXPECT_EQ(CMTimeGetSeconds(kCMTimePositiveInfinity), kInfinity);
    EXPECT_EQ(CMTimeGetSeconds(kCMTimeNegativeInfinity), -kInfinity);
    // The last one claims to be valid, but would divide by zero.
    for (const CMTime& time : {kCMTimeInvalid, kCMTimeIndefinite, CMTime{1, 0, kCMTimeFlagsValid, 0}})
        EXPECT_TRUE(std::isnan(CMTimeGetSeconds(time)));
}

TEST(CMTimeTest, conversionFollowsEachRoundingMethodOnBothSidesOfZero) {
    // For such small operands doubles hold every quotient well enough to be the judge.
    const std::pair<Method, std::function<double(double)>> methods[] = {
        {Method::roundHalfAwayFromZero, [](double q) { return std::round(q); }},
        {Method::roundTowardZero, [](double q) { return std::trunc(q); }},
        {Method::roundAwayFromZero, [](double q) { return q < 0 ? std::floor(q) : std::ceil(q); }},
        {Method::roundTowardPositiveInfinity, [](double q) { return std::ceil(q); }},
        {Method::roundTowardNegativeInfinity, [](double q) { return std::floor(q); }},
    };
    for (const auto& [method, judge] : methods) {
        for (int64_t value = -20; value <= 20; ++value) {
            for (int32_t from = 1; from <= 6; ++from) {
                for (int32_t to = 1; to <= 6; ++to) {
                    const CMTime time = CMTimeConvertScale(CMTimeMake(value, from), to, method);
                    const double exact = static_cast<double>(value * to) / from;
                    ASSERT_EQ(static_cast<double>(time.value), judge(exact)) << value << '/' << from;
                    ASSERT_EQ(time.timescale, to);
                    ASSERT_EQ(hasBeenRounded(time), value * to % from != 0) << value << '/' << from;
                }
            }
        }
    }
}

/// Of all times of that timescale, or of the largest below it that can hold it, the nearest to a fraction.
CMTime nearest(Wide numerator, Wide denominator, Wide timescale) {
    const bool negative = numerator < 0;
    const Wide size = negative ? -numerator : numerator;
    const Wide limit = negative ? Wide{kMax} + 1 : Wide{kMax};
    const auto scaled = [&](Wide scale) { // halves away from zero
        return size * scale / denominator + (size * scale % denominator * 2 >= denominator ? 1 : 0);
    };
    if (scaled(timescale) > limit)
        timescale = std::max<Wide>(limit * denominator / size, 1);
    if (scaled(timescale) > limit)
        return negative ? kCMTimeNegativeInfinity : kCMTimePositiveInfinity;
    const auto value = static_cast<int64_t>(negative ? -scaled(timescale) : scaled(timescale));
    const bool exact = size * timescale % denominator == 0;
    return exact ? CMTimeMake(value, static_cast<int32_t>(timescale))
                 : rounded(value, static_cast<int32_t>(timescale));
}

TEST(CMTimeTest, sumsAndDifferencesAreRoundedOnceAtTheTimescaleThatLosesLeast) {
    const int64_t values[] = {0,    1,        -1,   8192,     -1073741823 - 7, 1073741823,
                              kMax, kMax - 1, kMin, kMin + 1, kMin / 2};
    const int32_t timescales[] = {1, 2, 3, 44100, 48000, kCMTimeAudioTimescale, kScaleMax - 1, kScaleMax};
    for (const int64_t left : values)
        for (const int64_t right : values)
            for (const int32_t leftScale : timescales)
                for (const int32_t rightScale : timescales) {
                    SCOPED_TRACE(testing::Message()
                                 << left << '/' << leftScale << ", " << right << '/' << rightScale);
                    const auto common = std::lcm<int64_t, int64_t>(leftScale, rightScale);
                    const Wide timescale = common <= kScaleMax ? common : std::max(leftScale, rightScale);
                    const Wide of = Wide{leftScale} * rightScale;
                    const Wide first = Wide{left} * rightScale;
                    const Wide second = Wide{right} * leftScale;
                    const CMTime one = CMTimeMake(left, leftScale);
                    const CMTime other = CMTimeMake(right, rightScale);
                    expectSame(CMTimeAdd(one, other), nearest(first + second, of, timescale));
                    expectSame(CMTimeSubtract(one, other), nearest(first - second, of, timescale));
                    if (HasFailure())
                        return;
                }
    expectSame(CMTimeAdd(rounded(1, 2), CMTimeMake(1, 2)), rounded(2, 2));
}

TEST(CMTimeTest, specialTimesPropagateAndEpochsDoNotMix) {
    const CMTime invalid = kCMTimeInvalid;
    const CMTime indefinite = kCMTimeIndefinite;
    const CMTime plus = kCMTimePositiveInfinity;
    const CMTime minus = kCMTimeNegativeInfinity;
    const CMTime one = CMTimeMake(1, 1);
    struct Case {
        CMTime left, right, sum, difference;
    };
    const Case cases[] = {
        {invalid, invalid, invalid, invalid},
        {invalid, plus, invalid, invalid},
        {invalid, one, invalid, invalid},
        {indefinite, indefinite, indefinite, indefinite},
        {indefinite, plus, indefinite, indefinite},
        {indefinite, one, indefinite, indefinite},
        {plus, plus, plus, invalid},
        {plus, minus, invalid, plus},
        {plus, one, plus, plus},
        {minus, minus, minus, invalid},
        {minus, plus, invalid, minus},
        {minus, one, minus, minus},
        {one, plus, plus, minus},
        {one, minus, minus, plus},
        {inEpoch(5, 2), inEpoch(3, 2), inEpoch(8, 2), inEpoch(2, 0)},
        {inEpoch(5, 2), inEpoch(3, 0), inEpoch(8, 2), inEpoch(2, 2)},
        {inEpoch(5, 0), inEpoch(3, 2), inEpoch(8, 2), invalid},
        {inEpoch(5, 2), inEpoch(3, 1), invalid, invalid},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(testing::Message() << "flags " << test.left.flags << ", " << test.right.flags);
        expectSame(CMTimeAdd(test.left, test.right), test.sum);
        expectSame(CMTimeAdd(test.right, test.left), test.sum);
        expectSame(CMTimeSubtract(test.left, test.right), test.difference);
    }
}

TEST(CMTimeTest, comparisonIsATotalOrderThatTellsNeighboursApart) {
    // Groups of equivalent times, ascending; the neighbours at the upper end are one and the same as doubles.
    const std::vector<std::vector<CMTime>> groups = {
        {kCMTimeNegativeInfinity},
        {CMTimeMake(kMin, 1)},
        {CMTimeMake(kMin, kScaleMax)},
        {CMTimeMake(-1, 2), CMTimeMake(-2, 4)},
        {CMTimeMake(-1, kScaleMax)},
        {kCMTimeZero, CMTimeMake(0, kScaleMax), rounded(0, 600)},
        {CMTimeMake(1, kScaleMax)},
        {CMTimeMake(1, 3), CMTimeMake(715827882, 2147483646)},
        {CMTimeMake(kMax, kScaleMax)},
        {CMTimeMake(kMax - 1, 1)},
        {CMTimeMake(kMax, 1)},
        {inEpoch(-5, 1)},
        {kCMTimeIndefinite},
        {kCMTimePositiveInfinity},
        {kCMTimeInvalid, CMTimeMake(1, 0), CMTime{5, -1, kCMTimeFlagsValid, 0}, CMTime{5, 1, 0, 3}},
    };
    for (std::size_t first = 0; first < groups.size(); ++first) {
        for (std::size_t second = 0; second < groups.size(); ++second) {
            for (const CMTime& left : groups[first]) {
                for (const CMTime& right : groups[second]) {
                    EXPECT_EQ(left <=> right, first <=> second) << first << " with " << second;
                    EXPECT_EQ(left == right, first == second) << first << " with " << second;
                }
            }
        }
    }
}

} // namespace
} // namespace coremedia
