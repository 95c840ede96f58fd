// SPDX-License-Identifier: MIT
#pragma once

#include "platform/coremedia/CMTimeFields.h"

#include <compare>
#include <cstdint>

namespace coremedia {

/// Everything but invalid times.
constexpr bool isValid(const CMTime& time) noexcept;
/// Neither invalid nor infinite nor indefinite.
constexpr bool isNumeric(const CMTime& time) noexcept;
constexpr bool isIndefinite(const CMTime& time) noexcept;
constexpr bool isPositiveInfinity(const CMTime& time) noexcept;
constexpr bool isNegativeInfinity(const CMTime& time) noexcept;
/// A number that is not the exact result of what it was computed by.
constexpr bool hasBeenRounded(const CMTime& time) noexcept;

/// `value`/`timescale` seconds in epoch 0; invalid unless `timescale` is positive.
constexpr CMTime CMTimeMake(int64_t value, int32_t timescale) noexcept;

/// The multiple of 1/`preferredTimescale` s nearest to `seconds`, halves going away from zero.
///
/// Flagged hasBeenRounded unless the binary value of `seconds` is met exactly (0.5 is, 0.1 never). When the
/// value would not fit, the largest timescale for which it does is taken instead; from 2^63 s on (below
/// -2^63 s) the result is infinite. NaN or a timescale that is not positive gives an invalid time.
constexpr CMTime CMTimeMakeWithSeconds(double seconds, int32_t preferredTimescale) noexcept;

/// Seconds as a double: correctly rounded while |value| < 2^53, else within two units in the last place.
/// NaN for invalid and indefinite times, +-infinity for the infinite ones.
constexpr double CMTimeGetSeconds(const CMTime& time) noexcept;

/// Sum. Exact at the least common multiple of both timescales (so at the larger one if the smaller divides
/// it) when that fits an int32; else the exact sum is rounded once, half away from zero, to the larger
/// timescale and flagged hasBeenRounded. An operand's hasBeenRounded flag carries over.
///
/// A value that does not fit is expressed at the largest timescale at which it does (rounded there) or, if
/// not even whole seconds hold it, is the infinity of its sign.
///
/// Invalid operands win over indefinite ones, those over infinite ones; infinity plus its opposite is
/// invalid.
/// Epochs: equal ones are kept; epoch 0 (a duration) takes over the other's; two different nonzero epochs
/// have no common time line and give an invalid time.
constexpr CMTime CMTimeAdd(const CMTime& left, const CMTime& right) noexcept;

/// Difference, by the rules of CMTimeAdd except for epochs: times of one epoch differ by a duration
/// (epoch 0); a duration may be taken from a time of any epoch, which is kept; everything else is invalid.
constexpr CMTime CMTimeSubtract(const CMTime& minuend, const CMTime& subtrahend) noexcept;

/// The time at exactly `newTimescale`, flagged hasBeenRounded if inexact (or if it was before), epoch kept.
/// If the value does not fit at that timescale, the infinity of its sign. Times that are not numbers come
/// back unchanged; a new timescale that is not positive gives an invalid time.
constexpr CMTime CMTimeConvertScale(const CMTime& time, int32_t newTimescale,
                                    CMTimeRoundingMethod method) noexcept;

/// -1, 0 or 1 as `left` is before, equivalent to or after `right`; exact, whatever the timescales.
///
/// Total order: -infinity < numbers < indefinite < +infinity < invalid, each class of non-numbers equal to
/// itself. Numbers are ordered by epoch first, a later epoch being later. The hasBeenRounded flag does not
/// count, and neither do spellings: 1/2 equals 2/4.
constexpr int32_t CMTimeCompare(const CMTime& left, const CMTime& right) noexcept;

constexpr bool operator==(const CMTime& left, const CMTime& right) noexcept {
    return CMTimeCompare(left, right) == 0;
}

/// Weak, as equivalent times may have different fields.
constexpr std::weak_ordering operator<=>(const CMTime& left, const CMTime& right) noexcept {
    return CMTimeCompare(left, right) <=> 0;
}

} // namespace coremedia

#include "platform/coremedia/CMTimeArithmetic.h"
