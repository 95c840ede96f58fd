// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dispatch/Clock.h"

#include <cstdint>

namespace airplay {

/// Frames per second of all sound that goes to receivers, and its interleaved samples per frame.
inline constexpr std::int32_t frameRate = 44100;
inline constexpr std::int32_t channelCount = 2;

/// A number of frames on a common time line; 63 bits are over six million years.
using FrameIndex = std::int64_t;

/// An instant or a length of time without rounding; see `ticksPerSecond`.
__extension__ typedef __int128 Ticks;

/// The coarsest unit that measures the host clock, frames and the common media timescale (705600000) alike in
/// whole numbers.
inline constexpr std::int64_t ticksPerSecond = 441'000'000'000;
inline constexpr std::int64_t ticksPerFrame = ticksPerSecond / frameRate;
inline constexpr std::int64_t ticksPerNanosecond = ticksPerSecond / 1'000'000'000;

/// `numerator / denominator` towards negative infinity; `denominator` > 0.
constexpr Ticks floorQuotient(Ticks numerator, Ticks denominator) noexcept {
    const Ticks quotient = numerator / denominator;
    return numerator % denominator < 0 ? quotient - 1 : quotient;
}

constexpr Ticks ticksOf(dispatch::HostTime time) noexcept {
    return Ticks{time.time_since_epoch().count()} * ticksPerNanosecond;
}

/// The common time line of a route: its frame f is heard at the epoch + f / 44100 s. A pure value.
class FrameGrid {
  public:
    explicit constexpr FrameGrid(dispatch::HostTime epoch) noexcept : epoch_(epoch) {}

    constexpr dispatch::HostTime epoch() const noexcept { return epoch_; }

    constexpr Ticks ticksOfFrame(FrameIndex frame) const noexcept {
        return ticksOf(epoch_) + Ticks{frame} * ticksPerFrame;
    }

    /// The first frame that is not before an instant.
    constexpr FrameIndex firstNotBefore(Ticks instant) const noexcept {
        return static_cast<FrameIndex>(
            floorQuotient(instant - ticksOf(epoch_) + ticksPerFrame - 1, ticksPerFrame));
    }
    constexpr FrameIndex firstNotBefore(dispatch::HostTime time) const noexcept {
        return firstNotBefore(ticksOf(time));
    }

    /// The frame nearest to an instant, of two equally near ones the later. Adding whole frames to the
    /// instant adds just as many to the result.
    constexpr FrameIndex nearest(Ticks instant) const noexcept {
        return static_cast<FrameIndex>(
            floorQuotient(instant - ticksOf(epoch_) + ticksPerFrame / 2, ticksPerFrame));
    }

    /// The first whole nanosecond that is not before a frame.
    constexpr dispatch::HostTime timeOf(FrameIndex frame) const noexcept {
        const Ticks ticks = ticksOfFrame(frame) + ticksPerNanosecond - 1;
        return dispatch::HostTime{
            dispatch::Nanoseconds{static_cast<std::int64_t>(floorQuotient(ticks, ticksPerNanosecond))}};
    }

    constexpr bool operator==(const FrameGrid&) const noexcept = default;

  private:
    dispatch::HostTime epoch_;
};

} // namespace airplay
