// SPDX-License-Identifier: MIT
#include "platform/coremedia/CMTime.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <random>
#include <utility>
#include <vector>

namespace coremedia {
namespace {

using Method = CMTimeRoundingMethod;

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
    struct Case {
        double seconds;
        int32_t timescale;
        CMTime expected;
    };
    const Case cases[] = {
        {-0.0, 1, CMTimeMake(0, 1)},
        {0.5, 2, CMTimeMake(1, 2)},
        {0.5, 1, rounded(1, 1)},
        {-0.5, 1, rounded(-1, 1)},
        {-2.5, 1, rounded(-3, 1)},
        {std::nextafter(0.5, 0.0), 1, rounded(0, 1)}, // adding one half in doubles would carry to 1
        {0.1, 10, rounded(1, 10)},
        {2251799813685248.5, 1, rounded(2251799813685249, 1)}, // the last half a double has room for
        {std::numeric_limits<double>::denorm_min(), kScaleMax, rounded(0, kScaleMax)},
        {-std::numeric_limits<double>::min(), 1, rounded(0, 1)},
        {0x1p32, kScaleMax, CMTimeMake(kMax - 0xFFFFFFFF, kScaleMax)},
        {0x1p33, kScaleMax, CMTimeMake(kMax - 0x1FFFFFFFF, (1 << 30) - 1)},
        {0x1p62, kScaleMax, CMTimeMake(int64_t{1} << 62, 1)},
        {std::nextafter(0x1p63, 0.0), 600, CMTimeMake(kMax - 1023, 1)},
        {-0x1p62, kScaleMax, CMTimeMake(kMin, 2)},
        {-0x1p63, kScaleMax, CMTimeMake(kMin, 1)},
        {0x1p63, 1, kCMTimePositiveInfinity},
        {std::nextafter(-0x1p63, -kInfinity), 1, kCMTimeNegativeInfinity},
        {kInfinity, 1, kCMTimePositiveInfinity},
        {-kInfinity, 1, kCMTimeNegativeInfinity},
        {kNaN, 1, kCMTimeInvalid},
        {1.0, 0, kCMTimeInvalid},
        {1.0, -1, kCMTimeInvalid},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(testing::Message() << test.seconds << " at " << test.timescale);
        expectSame(CMTimeMakeWithSeconds(test.seconds, test.timescale), test.expected);
    }
}

TEST(CMTimeTest, onlyNumbersHaveFiniteSeconds) {
    EXPECT_EQ(CMTimeGetSeconds(CMTimeMake(-3, 2)), -1.5);
    EXPECT_EQ(CMTimeGetSeconds(CMTimeMake(kMin, 1)), -0x1p63);
    EXPECT_EQ(CMTimeGetSeconds(kCMTimePositiveInfinity), kInfinity);
    EXPECT_EQ(CMTimeGetSeconds(kCMTimeNegativeInfinity), -kInfinity);
    // The last one claims to be valid, but would divide by zero.
    for (const CMTime& time : {kCMTimeInvalid, kCMTimeIndefinite, CMTime{1, 0, kCMTimeFlagsValid, 0}}) {
        EXPECT_TRUE(std::isnan(CMTimeGetSeconds(time)));
        EXPECT_FALSE(isNumeric(time));
    }
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

TEST(CMTimeTest, conversionBeyondTheRangeIsInfiniteInsteadOfWrapped) {
    struct Case {
        CMTime time;
        int32_t timescale;
        Method method;
        CMTime expected;
    };
    constexpr Method kHalf = Method::roundHalfAwayFromZero;
    const Case cases[] = {
        {CMTimeMake(kMax, 1), kScaleMax, kHalf, kCMTimePositiveInfinity},
        {CMTimeMake(kMin, 1), 2, kHalf, kCMTimeNegativeInfinity},
        {CMTimeMake(kMin, kScaleMax), kScaleMax, kHalf, CMTimeMake(kMin, kScaleMax)},
        {CMTimeMake(kMin, 2), 1, kHalf, CMTimeMake(kMin / 2, 1)},
        {CMTimeMake(kMax, 2), 1, kHalf, rounded(int64_t{1} << 62, 1)},
        {CMTimeMake(kMax, 2), 1, Method::roundTowardZero, rounded((int64_t{1} << 62) - 1, 1)},
        {CMTimeMake(kMax, kScaleMax), 1, kHalf, rounded((int64_t{1} << 32) + 2, 1)},
        {CMTimeMake(1, 1), 0, kHalf, kCMTimeInvalid},
        {CMTimeMake(1, 1), -5, kHalf, kCMTimeInvalid},
        {kCMTimeNegativeInfinity, 5, kHalf, kCMTimeNegativeInfinity},
        {kCMTimeIndefinite, 5, kHalf, kCMTimeIndefinite},
        {rounded(1, 2), 4, kHalf, rounded(2, 4)},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(testing::Message() << test.time.value << '/' << test.time.timescale);
        expectSame(CMTimeConvertScale(test.time, test.timescale, test.method), test.expected);
    }
    EXPECT_EQ(CMTimeConvertScale(inEpoch(1, 7), 10, kHalf).epoch, 7);
}

TEST(CMTimeTest, sumsChooseTheTimescaleThatLosesLeast) {
    struct Case {
        CMTime left;
        CMTime right;
        CMTime expected;
    };
    constexpr int32_t kHalfUnits = 1073741823; // half a second at kScaleMax is this and one half
    const Case cases[] = {
        {CMTimeMake(1, 2), CMTimeMake(1, 4), CMTimeMake(3, 4)},
        {CMTimeMake(1, 44100), CMTimeMake(1, 48000), CMTimeMake(160 + 147, 7056000)},
        {CMTimeMake(1, kScaleMax), CMTimeMake(1, kScaleMax - 1), rounded(2, kScaleMax)},
        // Only rounding the sum itself, not its parts, moves this half away from zero.
        {CMTimeMake(-kHalfUnits - 7, kScaleMax), CMTimeMake(1, 2), rounded(-7, kScaleMax)},
        {CMTimeMake(kHalfUnits, kScaleMax), CMTimeMake(-1, 2), rounded(-1, kScaleMax)},
        {rounded(1, 2), CMTimeMake(1, 2), rounded(2, 2)},
        {CMTimeMake(kMax, 2), CMTimeMake(1, 2), CMTimeMake(int64_t{1} << 62, 1)},
        {CMTimeMake(kMax, 4), CMTimeMake(kMax, 4), CMTimeMake(kMax, 2)},
        {CMTimeMake(kMax, 1), CMTimeMake(1, kScaleMax), rounded(kMax, 1)},
        {CMTimeMake(kMax, 1), CMTimeMake(1, 2), kCMTimePositiveInfinity},
        {CMTimeMake(kMax, 1), CMTimeMake(kMax, 1), kCMTimePositiveInfinity},
        {CMTimeMake(kMin, 1), CMTimeMake(0, kScaleMax), CMTimeMake(kMin, 1)},
        {CMTimeMake(kMin, 1), CMTimeMake(-1, 1), kCMTimeNegativeInfinity},
        {CMTimeMake(kMin, 1), CMTimeMake(kMax, 1), CMTimeMake(-1, 1)},
        {CMTimeMake(kMin, kScaleMax), CMTimeMake(kMin, kScaleMax), rounded(kMin + 4294967298, kScaleMax / 2)},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(testing::Message() << test.left.value << '/' << test.left.timescale << " + "
                                        << test.right.value << '/' << test.right.timescale);
        expectSame(CMTimeAdd(test.left, test.right), test.expected);
        expectSame(CMTimeAdd(test.right, test.left), test.expected);
    }
    // The negative of the smallest value is no value.
    expectSame(CMTimeSubtract(CMTimeMake(0, 1), CMTimeMake(kMin, 1)), kCMTimePositiveInfinity);
    expectSame(CMTimeSubtract(CMTimeMake(-1, 1), CMTimeMake(kMin, 1)), CMTimeMake(kMax, 1));
}

TEST(CMTimeTest, specialTimesPropagateThroughSumsAndDifferences) {
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
        {invalid, indefinite, invalid, invalid},
        {invalid, plus, invalid, invalid},
        {invalid, minus, invalid, invalid},
        {invalid, one, invalid, invalid},
        {indefinite, indefinite, indefinite, indefinite},
        {indefinite, plus, indefinite, indefinite},
        {indefinite, minus, indefinite, indefinite},
        {indefinite, one, indefinite, indefinite},
        {plus, plus, plus, invalid},
        {plus, minus, invalid, plus},
        {plus, one, plus, plus},
        {minus, minus, minus, invalid},
        {minus, plus, invalid, minus},
        {minus, one, minus, minus},
        {one, plus, plus, minus},
        {one, minus, minus, plus},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(testing::Message() << "flags " << test.left.flags << ", " << test.right.flags);
        expectSame(CMTimeAdd(test.left, test.right), test.sum);
        expectSame(CMTimeAdd(test.right, test.left), test.sum);
        expectSame(CMTimeSubtract(test.left, test.right), test.difference);
    }
}

TEST(CMTimeTest, timesOfDifferentEpochsDoNotMix) {
    expectSame(CMTimeAdd(inEpoch(5, 2), inEpoch(3, 0)), inEpoch(8, 2));
    expectSame(CMTimeAdd(inEpoch(5, 0), inEpoch(3, 2)), inEpoch(8, 2));
    expectSame(CMTimeAdd(inEpoch(5, 2), inEpoch(3, 2)), inEpoch(8, 2));
    expectSame(CMTimeAdd(inEpoch(5, 2), inEpoch(3, 1)), kCMTimeInvalid);
    expectSame(CMTimeSubtract(inEpoch(5, 2), inEpoch(3, 2)), inEpoch(2, 0));
    expectSame(CMTimeSubtract(inEpoch(5, 2), inEpoch(3, 0)), inEpoch(2, 2));
    expectSame(CMTimeSubtract(inEpoch(5, 0), inEpoch(3, 2)), kCMTimeInvalid);
    expectSame(CMTimeSubtract(inEpoch(5, 2), inEpoch(3, 1)), kCMTimeInvalid);
}

TEST(CMTimeTest, aDayOfAudioChunksAddsUpExactly) {
    constexpr int64_t kChunks = 465000;
    const CMTime chunk = CMTimeMake(8192, 44100);
    for (const int32_t timescale : {kCMTimeAudioTimescale, 44100}) {
        CMTime time = CMTimeMake(123456789, timescale);
        for (int64_t count = 0; count < kChunks; ++count) {
            time = CMTimeAdd(time, chunk);
        }
        expectSame(time, CMTimeMake(123456789 + kChunks * 8192 * (timescale / 44100), timescale));
    }
}

TEST(CMTimeTest, oneSecondOfFramesIsOneSecondAtEveryAudioRate) {
    const CMTime start = CMTimeMake(kCMTimeAudioTimescale - 1, kCMTimeAudioTimescale);
    for (const int32_t rate : {8000, 11025, 12000, 16000, 22050, 24000, 32000, 44100, 48000, 64000, 88200,
                               96000, 176400, 192000, 352800, 384000}) {
        CMTime time = start;
        for (int32_t frames = 0; frames < rate; frames += rate / 25) {
            time = CMTimeAdd(time, CMTimeMake(rate / 25, rate));
        }
        EXPECT_FALSE(hasBeenRounded(time)) << rate;
        EXPECT_TRUE(CMTimeSubtract(time, start) == CMTimeMake(1, 1)) << rate;
    }
}

TEST(CMTimeTest, subtractionUndoesAdditionWheneverNothingIsRounded) {
    std::mt19937_64 random(20240229);
    std::uniform_int_distribution<int64_t> values(-(int64_t{1} << 31), int64_t{1} << 31);
    std::uniform_int_distribution<int32_t> timescales(1, (1 << 15) - 1);
    for (int round = 0; round < 10000; ++round) {
        const CMTime left = CMTimeMake(values(random), timescales(random));
        const CMTime right = CMTimeMake(values(random), timescales(random));
        const CMTime sum = CMTimeAdd(left, right);
        ASSERT_FALSE(hasBeenRounded(sum));
        ASSERT_TRUE(CMTimeSubtract(sum, right) == left);
        ASSERT_EQ(CMTimeCompare(sum, left), CMTimeCompare(right, kCMTimeZero));
    }
}

TEST(CMTimeTest, comparisonIsATotalOrderThatTellsNeighboursApart) {
    // Groups of equivalent times, ascending; the neighbours at the upper end are one and the same as doubles.
    const std::vector<std::vector<CMTime>> groups = {
        {kCMTimeNegativeInfinity},
        {CMTimeMake(kMin, 1)},
        {CMTimeMake(kMin, kScaleMax - 1)},
        {CMTimeMake(kMin, kScaleMax)},
        {CMTimeMake(kMin + 1, kScaleMax)},
        {CMTimeMake(-1, 2), CMTimeMake(-2, 4)},
        {CMTimeMake(-1, kScaleMax)},
        {kCMTimeZero, CMTimeMake(0, kScaleMax), rounded(0, 600)},
        {CMTimeMake(1, kScaleMax)},
        {CMTimeMake(1, 3), CMTimeMake(715827882, 2147483646)},
        {CMTimeMake(715827883, kScaleMax)},
        {CMTimeMake(kMax - 1, kScaleMax)},
        {CMTimeMake(kMax, kScaleMax)},
        {CMTimeMake(kMax, kScaleMax - 1)},
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

// Undefined behaviour anywhere in the arithmetic would keep these from compiling.
static_assert(CMTimeAdd(CMTimeMake(kMax, kScaleMax), CMTimeMake(kMax, kScaleMax - 1)) > kCMTimeZero);
static_assert(CMTimeSubtract(CMTimeMake(kMin, kScaleMax), CMTimeMake(kMax, kScaleMax - 1)) < kCMTimeZero);
static_assert(isNumeric(CMTimeMakeWithSeconds(std::numeric_limits<double>::denorm_min(), kScaleMax)));

} // namespace
} // namespace coremedia
