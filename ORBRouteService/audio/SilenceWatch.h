// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <limits>

namespace orb {

/// How long it has been silent, and what follows from that. Written on the render queue; `silentSeconds` may
/// be read by any thread.
class SilenceWatch {
  public:
    /// A silence of more than this, s, makes the sound after it a return of sound.
    static constexpr double resumeThreshold = 0.2;

    /// Silence of more than this, s, stops playing.
    static constexpr double stopThreshold = 3.0;

    /// Length of the present run of silent cycles, s. Before the first cycle it is as long as can be, so that
    /// the first sound is a return of sound.
    double silentSeconds() const { return silentSeconds_.load(std::memory_order_relaxed); }

    /// A cycle of `seconds` was silent or not; true when sound returned with it.
    bool note(bool silent, double seconds) {
        const double before = silentSeconds();
        silentSeconds_.store(silent ? before + seconds : 0.0, std::memory_order_relaxed);
        return !silent && before > resumeThreshold;
    }

    enum class Stop { none, afterPause, afterSilence };

    /// Whether it has been silent for long enough to stop: after a recent pause by the user, as soon as what
    /// was on its way has been heard (`reportedLatency` s); else after `stopThreshold`.
    Stop stopDue(bool recentlyPaused, double reportedLatency) const {
        if (recentlyPaused && silentSeconds() > reportedLatency)
            return Stop::afterPause;
        return silentSeconds() > stopThreshold ? Stop::afterSilence : Stop::none;
    }

  private:
    std::atomic<double> silentSeconds_{std::numeric_limits<double>::max()};
};

} // namespace orb
