// SPDX-License-Identifier: MIT
#pragma once

#include "platform/airplay/UserAlerts.h"

#include <functional>
#include <optional>

namespace airplay {

/// Whoever answers the questions that alerts put on the screen. Outlives whoever shows them. Main queue.
class PromptedUser {
  public:
    using Answer = std::function<void(std::optional<Secret> secret)>;

    PromptedUser() = default;
    virtual ~PromptedUser() = default;
    PromptedUser(const PromptedUser&) = delete;
    PromptedUser& operator=(const PromptedUser&) = delete;

    /// A question is on the screen. `answer` may be called once, later and on the main queue, or never;
    /// nullopt dismisses the question. It does nothing when the question has gone meanwhile.
    virtual void asked(const UserAlerts::SecretRequest& request, Answer answer) = 0;
};

} // namespace airplay
