// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>

namespace dispatch {

using Nanoseconds = std::chrono::nanoseconds;
using Seconds = std::chrono::duration<double>;

/// The time line that everything in a realm runs on: monotonic, in nanoseconds from an arbitrary zero.
/// A tag only; instants are read from a `Clock`.
struct HostTimeline {
    using duration = Nanoseconds;
    using rep = duration::rep;
    using period = duration::period;
    using time_point = std::chrono::time_point<HostTimeline>;
    static constexpr bool is_steady = true;
};

/// An instant on the host time line.
using HostTime = std::chrono::time_point<HostTimeline>;

/// A date of the wall clock, in nanoseconds since 1970-01-01 00:00 UTC.
using Date = std::chrono::sys_time<Nanoseconds>;

/// An instant before any that a clock can show: "never yet". Its distance to any other fits `Nanoseconds`.
inline constexpr HostTime distantPast{-std::chrono::hours{24 * 365 * 100}};

/// Whole nanoseconds of a number of seconds, truncated towards zero; no more than 100 years either way, which
/// can be added to any instant; what is no number is none.
constexpr Nanoseconds toNanoseconds(double seconds) {
    constexpr double most = 100 * 365.25 * 86400;
    if (seconds != seconds)
        return Nanoseconds{0};
    return Nanoseconds{static_cast<std::int64_t>(std::clamp(seconds, -most, most) * 1e9)};
}

constexpr double toSeconds(Nanoseconds duration) { return Seconds{duration}.count(); }

/// The one source of time. Any thread may read it; a read is cheap and takes no lock.
class Clock {
  public:
    Clock() = default;
    virtual ~Clock() = default;
    Clock(const Clock&) = delete;
    Clock& operator=(const Clock&) = delete;

    virtual HostTime now() const noexcept = 0;
    virtual Date wallNow() const noexcept = 0;

    /// The time at which the paced cycle that this thread is running was due, or `now()` outside of one.
    /// A cycle that runs late, after a late wake-up, still takes all its times from when it should have
    /// run: lateness is then absorbed by the render latency instead of moving the sound.
    HostTime cycleTime() const noexcept;
};

/// While it lives, `cycleTime()` on this thread is `due`.
class CycleScope {
  public:
    explicit CycleScope(HostTime due) noexcept;
    ~CycleScope();
    CycleScope(const CycleScope&) = delete;
    CycleScope& operator=(const CycleScope&) = delete;

  private:
    const HostTime* const outer_;
    const HostTime due_;
};

} // namespace dispatch
