// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace coremedia {

inline constexpr uint32_t kCMTimeFlagsValid = 1;
inline constexpr uint32_t kCMTimeFlagsHasBeenRounded = 2;
inline constexpr uint32_t kCMTimeFlagsPositiveInfinity = 4;
inline constexpr uint32_t kCMTimeFlagsNegativeInfinity = 8;
inline constexpr uint32_t kCMTimeFlagsIndefinite = 16;

/// Rational media time: `value` units of 1/`timescale` second, a plain value of 24 bytes.
///
/// `epoch` separates time lines whose numbers must not be mixed (such as before and after a loop restarts);
/// a duration has epoch 0. A zero-initialised time is invalid. A time flagged valid whose timescale is not
/// positive counts as invalid, too. All functions on it are pure, allocation-free, and never overflow.
struct CMTime {
    int64_t value = 0;
    int32_t timescale = 0;
    uint32_t flags = 0;
    int64_t epoch = 0;
};

inline constexpr CMTime kCMTimeInvalid{};
inline constexpr CMTime kCMTimeZero{0, 1, kCMTimeFlagsValid, 0};
inline constexpr CMTime kCMTimeIndefinite{0, 0, kCMTimeFlagsValid | kCMTimeFlagsIndefinite, 0};
inline constexpr CMTime kCMTimePositiveInfinity{0, 0, kCMTimeFlagsValid | kCMTimeFlagsPositiveInfinity, 0};
inline constexpr CMTime kCMTimeNegativeInfinity{0, 0, kCMTimeFlagsValid | kCMTimeFlagsNegativeInfinity, 0};

/// Timescale for anchors of audio time lines: 2^9 * 3^2 * 5^5 * 7^2 is a multiple of every audio rate in use
/// from 8 kHz to 352.8 kHz, so frame counts at any of them add up to it without rounding. 384 kHz is the one
/// exception; sums with it go to the doubled timescale, which is still exact. An int64 of these units spans
/// over 400 years.
inline constexpr int32_t kCMTimeAudioTimescale = 705600000;

enum class CMTimeRoundingMethod {
    roundHalfAwayFromZero,
    roundTowardZero,
    roundAwayFromZero,
    roundTowardPositiveInfinity,
    roundTowardNegativeInfinity,
};

} // namespace coremedia
