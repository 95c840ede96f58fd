// SPDX-License-Identifier: MIT
#pragma once

// Bodies of the functions that CMTime.h declares; it includes this file at its end, as they are constexpr and
// would bury the declarations there.

#include "platform/coremedia/CMTime.h"
#include "platform/coremedia/TimeKind.h"
#include "platform/coremedia/WideFraction.h"

#include <cstdint>
#include <limits>

namespace coremedia {

constexpr bool isValid(const CMTime& time) noexcept {
    return detail::kind(time) != detail::TimeKind::invalid;
}

constexpr bool isNumeric(const CMTime& time) noexcept {
    return detail::kind(time) == detail::TimeKind::numeric;
}

constexpr bool isIndefinite(const CMTime& time) noexcept {
    return detail::kind(time) == detail::TimeKind::indefinite;
}

constexpr bool isPositiveInfinity(const CMTime& time) noexcept {
    return detail::kind(time) == detail::TimeKind::positiveInfinity;
}

constexpr bool isNegativeInfinity(const CMTime& time) noexcept {
    return detail::kind(time) == detail::TimeKind::negativeInfinity;
}

constexpr bool hasBeenRounded(const CMTime& time) noexcept {
    return isNumeric(time) && (time.flags & kCMTimeFlagsHasBeenRounded) != 0;
}

constexpr CMTime CMTimeMake(int64_t value, int32_t timescale) noexcept {
    return timescale > 0 ? CMTime{value, timescale, kCMTimeFlagsValid, 0} : kCMTimeInvalid;
}

constexpr CMTime CMTimeMakeWithSeconds(double seconds, int32_t preferredTimescale) noexcept {
    constexpr double kEnd = 0x1p63;
    if (seconds != seconds || preferredTimescale <= 0) {
        return kCMTimeInvalid;
    }
    if (seconds >= kEnd) {
        return kCMTimePositiveInfinity;
    }
    if (seconds < -kEnd) {
        return kCMTimeNegativeInfinity;
    }
    return detail::nearestTime(detail::exactFraction(seconds), preferredTimescale, 0, false);
}

constexpr double CMTimeGetSeconds(const CMTime& time) noexcept {
    switch (detail::kind(time)) {
        case detail::TimeKind::negativeInfinity:
            return -std::numeric_limits<double>::infinity();
        case detail::TimeKind::positiveInfinity:
            return std::numeric_limits<double>::infinity();
        case detail::TimeKind::numeric:
            return static_cast<double>(time.value) / time.timescale;
        case detail::TimeKind::indefinite:
        case detail::TimeKind::invalid:
            break;
    }
    return std::numeric_limits<double>::quiet_NaN();
}

constexpr CMTime CMTimeAdd(const CMTime& left, const CMTime& right) noexcept {
    if (!isNumeric(left) || !isNumeric(right)) {
        return detail::sumOfKinds(detail::kind(left), detail::kind(right));
    }
    if (left.epoch != right.epoch && left.epoch != 0 && right.epoch != 0) {
        return kCMTimeInvalid;
    }
    return detail::sumOfNumbers(left, right, 1, left.epoch != 0 ? left.epoch : right.epoch);
}

constexpr CMTime CMTimeSubtract(const CMTime& minuend, const CMTime& subtrahend) noexcept {
    if (!isNumeric(minuend) || !isNumeric(subtrahend)) {
        return detail::sumOfKinds(detail::kind(minuend), detail::negated(detail::kind(subtrahend)));
    }
    if (minuend.epoch == subtrahend.epoch) {
        return detail::sumOfNumbers(minuend, subtrahend, -1, 0);
    }
    if (subtrahend.epoch == 0) {
        return detail::sumOfNumbers(minuend, subtrahend, -1, minuend.epoch);
    }
    return kCMTimeInvalid;
}

constexpr CMTime CMTimeConvertScale(const CMTime& time, int32_t newTimescale,
                                    CMTimeRoundingMethod method) noexcept {
    if (newTimescale <= 0) {
        return kCMTimeInvalid;
    }
    if (!isNumeric(time)) {
        return time;
    }
    const detail::Int128 product = detail::Int128{time.value} * newTimescale;
    const detail::RoundedQuotient scaled = detail::roundedQuotient(product, time.timescale, method);
    if (!detail::fitsValue(scaled.value)) {
        return detail::infinityOfSign(time.value);
    }
    const uint32_t flags = time.flags | (scaled.exact ? 0U : kCMTimeFlagsHasBeenRounded);
    return {static_cast<int64_t>(scaled.value), newTimescale, flags, time.epoch};
}

constexpr int32_t CMTimeCompare(const CMTime& left, const CMTime& right) noexcept {
    const auto order = [](auto first, auto second) { return first < second ? -1 : (second < first ? 1 : 0); };
    if (!isNumeric(left) || !isNumeric(right)) {
        return order(detail::kind(left), detail::kind(right));
    }
    if (left.epoch != right.epoch) {
        return order(left.epoch, right.epoch);
    }
    return order(detail::Int128{left.value} * right.timescale, detail::Int128{right.value} * left.timescale);
}

} // namespace coremedia
