// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

namespace lmn {

/// Level of a log line. The service uses three: 0 routine progress, 1 milestones, 4 failures.
using LMNLogLevel = int;

/// Hands `text` to the log, unchanged: UTF-8, not a format string, already ending in a line feed.
/// Any thread, real-time ones included: never waits; allocates only for texts above
/// `LMNLogWriter::inlineLength`.
void LMNLog(LMNLogLevel level, std::string_view text) noexcept;

/// Where the log's lines end up. The composition root installs one; without one they are dropped.
class LMNLogTarget {
  public:
    LMNLogTarget() = default;
    virtual ~LMNLogTarget() = default;
    LMNLogTarget(const LMNLogTarget&) = delete;
    LMNLogTarget& operator=(const LMNLogTarget&) = delete;

    /// Any thread, several at once.
    virtual void write(LMNLogLevel level, std::string_view text) noexcept = 0;
};

/// While it lives, the log goes to `target`, which outlives all that may still log.
class LMNLogInstallation {
  public:
    explicit LMNLogInstallation(LMNLogTarget& target) noexcept;
    ~LMNLogInstallation();
    LMNLogInstallation(const LMNLogInstallation&) = delete;
    LMNLogInstallation& operator=(const LMNLogInstallation&) = delete;

  private:
    LMNLogTarget* const outer_;
};

} // namespace lmn
