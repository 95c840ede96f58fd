// SPDX-License-Identifier: MIT
#pragma once

#include "platform/coremedia/CMTimeFields.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <limits>
#include <numeric>

namespace coremedia::detail {

// Both compilers predefine this name, which pedantic builds accept where they warn of the keyword.
using Int128 = __int128_t;

/// Exact number of seconds on its way to a CMTime. Internal to the arithmetic of CMTime.
///
/// Invariants: `denominator` > 0; numerator * 2^31 fits an Int128. Sums of two times have a numerator below
/// 2^96 and a denominator below 2^62.
struct WideFraction {
    Int128 numerator;
    Int128 denominator;
};

struct RoundedQuotient {
    Int128 value;
    bool exact;
};

constexpr Int128 magnitude(Int128 number) noexcept { return number < 0 ? -number : number; }

/// numerator / denominator as an integer; `denominator` > 0.
constexpr RoundedQuotient roundedQuotient(Int128 numerator, Int128 denominator,
                                          CMTimeRoundingMethod method) noexcept {
    const Int128 quotient = numerator / denominator;
    const Int128 remainder = magnitude(numerator % denominator);
    if (remainder == 0) {
        return {quotient, true};
    }
    const bool negative = numerator < 0;
    bool away = false;
    switch (method) {
        case CMTimeRoundingMethod::roundHalfAwayFromZero:
            away = remainder >= denominator - remainder;
            break;
        case CMTimeRoundingMethod::roundTowardZero:
            break;
        case CMTimeRoundingMethod::roundAwayFromZero:
            away = true;
            break;
        case CMTimeRoundingMethod::roundTowardPositiveInfinity:
            away = !negative;
            break;
        case CMTimeRoundingMethod::roundTowardNegativeInfinity:
            away = negative;
            break;
    }
    if (!away) {
        return {quotient, false};
    }
    return {quotient + (negative ? -1 : 1), false};
}

constexpr bool fitsValue(Int128 number) noexcept {
    return number >= std::numeric_limits<int64_t>::min() && number <= std::numeric_limits<int64_t>::max();
}

constexpr CMTime infinityOfSign(Int128 number) noexcept {
    return number < 0 ? kCMTimeNegativeInfinity : kCMTimePositiveInfinity;
}

/// The largest timescale at which `seconds` fits a value, 0 if there is none. Only for fractions too large
/// for some int32 timescale: those have denominators small enough for the product here (see exactFraction).
constexpr int32_t largestFittingTimescale(const WideFraction& seconds) noexcept {
    const Int128 limit = seconds.numerator < 0 ? -Int128{std::numeric_limits<int64_t>::min()}
                                               : Int128{std::numeric_limits<int64_t>::max()};
    return static_cast<int32_t>(limit * seconds.denominator / magnitude(seconds.numerator));
}

/// `seconds` rounded half away from zero to `timescale`, or to the largest timescale that can hold it, or
/// infinite. `rounded` says that the fraction itself was computed from rounded times.
constexpr CMTime nearestTime(const WideFraction& seconds, int32_t timescale, int64_t epoch,
                             bool rounded) noexcept {
    constexpr auto kMethod = CMTimeRoundingMethod::roundHalfAwayFromZero;
    RoundedQuotient scaled = roundedQuotient(seconds.numerator * timescale, seconds.denominator, kMethod);
    if (!fitsValue(scaled.value)) {
        // Whole seconds are tried even if nothing fits unrounded: the excess may be less than half a second.
        timescale = std::max(largestFittingTimescale(seconds), 1);
        scaled = roundedQuotient(seconds.numerator * timescale, seconds.denominator, kMethod);
        if (!fitsValue(scaled.value)) {
            return infinityOfSign(seconds.numerator);
        }
    }
    const bool inexact = rounded || !scaled.exact;
    const uint32_t flags = kCMTimeFlagsValid | (inexact ? kCMTimeFlagsHasBeenRounded : 0U);
    return {static_cast<int64_t>(scaled.value), timescale, flags, epoch};
}

/// The binary value of a double with |seconds| <= 2^63, taken apart without rounding.
///
/// Denominators stop at 2^100: whatever is finer rounds to zero at every timescale anyway, and stays inexact.
/// A fraction of 2^32 or more, the least that can overflow a value, has a denominator of at most 2^20.
constexpr WideFraction exactFraction(double seconds) noexcept {
    constexpr int kSignificandBits = 52;
    constexpr int kExponentOfUnit = 1075;
    constexpr int kLargestDenominatorShift = 100;
    constexpr uint64_t kHiddenBit = uint64_t{1} << kSignificandBits;
    const uint64_t bits = std::bit_cast<uint64_t>(seconds);
    const int exponent = static_cast<int>((bits >> kSignificandBits) & 0x7FFU);
    const uint64_t fraction = bits & (kHiddenBit - 1);
    Int128 numerator = exponent != 0 ? fraction | kHiddenBit : fraction;
    Int128 denominator = 1;
    // Subnormals would belong one place higher, but lie far below the finest denominator.
    const int shift = exponent - kExponentOfUnit;
    if (shift >= 0) {
        numerator <<= shift;
    } else {
        denominator <<= std::min(-shift, kLargestDenominatorShift);
    }
    return {seconds < 0 ? -numerator : numerator, denominator};
}

constexpr int32_t commonTimescale(int32_t left, int32_t right) noexcept {
    const int64_t multiple = std::lcm<int64_t, int64_t>(left, right);
    return multiple <= std::numeric_limits<int32_t>::max() ? static_cast<int32_t>(multiple)
                                                           : std::max(left, right);
}

/// left + sign * right for two numbers; `sign` is 1 or -1.
constexpr CMTime sumOfNumbers(const CMTime& left, const CMTime& right, int sign, int64_t epoch) noexcept {
    const WideFraction sum{Int128{left.value} * right.timescale + Int128{right.value} * sign * left.timescale,
                           Int128{left.timescale} * right.timescale};
    const bool rounded = ((left.flags | right.flags) & kCMTimeFlagsHasBeenRounded) != 0;
    return nearestTime(sum, commonTimescale(left.timescale, right.timescale), epoch, rounded);
}

} // namespace coremedia::detail
