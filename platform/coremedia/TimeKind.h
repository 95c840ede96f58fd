// SPDX-License-Identifier: MIT
#pragma once

#include "platform/coremedia/CMTimeFields.h"

namespace coremedia::detail {

/// What a time is, in the order of comparison.
enum class TimeKind { negativeInfinity, numeric, indefinite, positiveInfinity, invalid };

constexpr TimeKind kind(const CMTime& time) noexcept {
    if ((time.flags & kCMTimeFlagsValid) == 0) {
        return TimeKind::invalid;
    }
    if ((time.flags & kCMTimeFlagsIndefinite) != 0) {
        return TimeKind::indefinite;
    }
    if ((time.flags & kCMTimeFlagsPositiveInfinity) != 0) {
        return TimeKind::positiveInfinity;
    }
    if ((time.flags & kCMTimeFlagsNegativeInfinity) != 0) {
        return TimeKind::negativeInfinity;
    }
    return time.timescale > 0 ? TimeKind::numeric : TimeKind::invalid;
}

constexpr TimeKind negated(TimeKind kind) noexcept {
    switch (kind) {
        case TimeKind::negativeInfinity:
            return TimeKind::positiveInfinity;
        case TimeKind::positiveInfinity:
            return TimeKind::negativeInfinity;
        case TimeKind::numeric:
        case TimeKind::indefinite:
        case TimeKind::invalid:
            break;
    }
    return kind;
}

/// Sum of two times of which at least one is not a number.
constexpr CMTime sumOfKinds(TimeKind left, TimeKind right) noexcept {
    const auto either = [&](TimeKind wanted) { return left == wanted || right == wanted; };
    const bool positive = either(TimeKind::positiveInfinity);
    const bool negative = either(TimeKind::negativeInfinity);
    if (either(TimeKind::invalid)) {
        return kCMTimeInvalid;
    }
    if (either(TimeKind::indefinite)) {
        return kCMTimeIndefinite;
    }
    if (positive && negative) {
        return kCMTimeInvalid;
    }
    return positive ? kCMTimePositiveInfinity : kCMTimeNegativeInfinity;
}

} // namespace coremedia::detail
