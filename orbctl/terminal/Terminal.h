// SPDX-License-Identifier: MIT
#pragma once

#include "platform/airplay/Secret.h"
#include "platform/dispatch/Queue.h"
#include "platform/foundation/DescriptorWatch.h"

#include <termios.h>

#include <functional>
#include <optional>
#include <string_view>

namespace orbctl {

/// The terminal of the person who started the program, whatever the standard streams are. While it asks for a
/// secret, nothing that is typed shows; that ends with the answer, `withdraw`, and this object. Main queue.
class Terminal {
  public:
    explicit Terminal(dispatch::Queue& mainQueue) : mainQueue_(mainQueue) {}
    ~Terminal() { withdraw(); }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    using Answered = std::function<void(std::optional<airplay::Secret> answer)>;

    /// Shows the question and calls back with the line typed, or with nullopt for the end of the input. One
    /// question at a time. False, and nothing is asked, when there is no terminal.
    bool askSecret(std::string_view question, Answered answered);

    /// Takes the question away, if any; nobody is called.
    void withdraw();

  private:
    void read();

    dispatch::Queue& mainQueue_;
    int descriptor_ = -1; // of the watch
    termios before_{};    // what was in force
    Answered answered_;
    std::optional<foundation::DescriptorWatch> watch_; // while it asks
};

} // namespace orbctl
