// SPDX-License-Identifier: MIT
#pragma once

#include <cstdio>
#include <string>
#include <string_view>

namespace orbctl {

/// Where the program speaks: results to standard output, all else to standard error. There is one, made first
/// in `main`: what libraries print to standard output goes to standard error from then on. One thread.
class Console {
  public:
    Console();
    ~Console();
    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;

    /// A line of what was asked for.
    void result(std::string_view line);

    /// A line for the person.
    void say(std::string_view line);

    /// "orbctl: " and the reason.
    void fail(std::string_view reason);

    /// What takes the place of the line of progress before, on a terminal; nothing elsewhere.
    void progress(std::string_view line);

    bool isTerminal() const { return isTerminal_; }

  private:
    void eraseProgress();

    std::FILE* const results_;
    const bool isTerminal_;
    bool hasProgress_ = false;
};

} // namespace orbctl
