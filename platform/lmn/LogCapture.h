// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dispatch/Ownership.h"
#include "platform/lmn/LMNLog.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

namespace lmn {

/// Keeps what is logged while it lives, for a test to look at. Any thread.
class LogCapture final : public LMNLogTarget {
  public:
    struct Line {
        LMNLogLevel level = 0;
        std::string text;

        bool operator==(const Line&) const = default;
    };

    void write(LMNLogLevel level, std::string_view text) noexcept override {
        const dispatch::LockGuard guard(lock_);
        lines_.push_back({level, std::string(text)});
    }

    std::vector<Line> lines() const {
        const dispatch::LockGuard guard(lock_);
        return lines_;
    }

    /// Lines of `level` that contain `part`.
    std::size_t count(LMNLogLevel level, std::string_view part) const {
        const dispatch::LockGuard guard(lock_);
        return static_cast<std::size_t>(std::ranges::count_if(lines_, [&](const Line& line) {
            return line.level == level && line.text.find(part) != std::string::npos;
        }));
    }

  private:
    mutable dispatch::Lock lock_;
    std::vector<Line> lines_ ORB_GUARDED_BY(lock_);
    const LMNLogInstallation installation_{*this};
};

} // namespace lmn
