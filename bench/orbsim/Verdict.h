// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dispatch/Clock.h"

#include <optional>
#include <string>
#include <utility>

namespace orbsim {

/// A rule of the service that did not hold.
struct Violation {
    std::string rule; // its short name, see `docs/RELIABILITY.md`
    double at = 0;    // s since the launch
    std::string what;
};

/// What the judges of one world have found: the first violation, since the others may follow from it.
class Verdict {
  public:
    /// The clock, which outlives this, stands at the launch.
    explicit Verdict(const dispatch::Clock& clock) : clock_(clock), launch_(clock.now()) {}

    /// s since the launch.
    double now() const { return dispatch::toSeconds(clock_.now() - launch_); }

    void fail(std::string rule, std::string what) {
        if (!violation_) {
            violation_ = Violation{std::move(rule), now(), std::move(what)};
        }
    }

    const std::optional<Violation>& violation() const { return violation_; }

  private:
    const dispatch::Clock& clock_;
    const dispatch::HostTime launch_;
    std::optional<Violation> violation_;
};

} // namespace orbsim
