// SPDX-License-Identifier: MIT
#pragma once

#include "platform/airplay/Secret.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace airplay {

/// What the user is asked and told on behalf of a receiver. Made by the composition root; main queue.
class UserAlerts {
  public:
    /// What is on the screen; destroying it takes it away, and its callback is not called any more. The
    /// callback may destroy it.
    class Alert {
      public:
        Alert() = default;
        virtual ~Alert() = default;
        Alert(const Alert&) = delete;
        Alert& operator=(const Alert&) = delete;
    };

    struct SecretRequest {
        SecretKind kind = SecretKind::password;
        std::string receiver;  // its identifier
        std::string name;      // as the user knows it
        bool wasWrong = false; // the answer before
    };

    UserAlerts() = default;
    virtual ~UserAlerts() = default;
    UserAlerts(const UserAlerts&) = delete;
    UserAlerts& operator=(const UserAlerts&) = delete;

    /// Asks. `answered` is called once, in a later turn, when the alert has gone from the screen; nullopt:
    /// dismissed without an answer.
    virtual std::unique_ptr<Alert> askForSecret(
        SecretRequest request, std::function<void(std::optional<Secret> answer)> answered) = 0;

    /// Tells that the receiver could not be connected to. `acknowledged` is called once, in a later turn,
    /// when the alert has gone from the screen.
    virtual std::unique_ptr<Alert> tellFailure(std::string name, std::function<void()> acknowledged) = 0;
};

} // namespace airplay
