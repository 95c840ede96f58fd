// SPDX-License-Identifier: MIT
#pragma once

#include "platform/airplay/PromptedUser.h"
#include "platform/airplay/embedded/EmbeddedReceivers.h"

#include <cstddef>
#include <map>
#include <string>

namespace airplay {

/// The user of a receivers file, who answers the questions of each attempt as the receiver's entry says, and
/// leaves alone what comes beyond. Made by the composition root; main queue.
class ScriptedUser final : public PromptedUser {
  public:
    /// Both outlive it.
    ScriptedUser(const EmbeddedReceivers& receivers, dispatch::Queue& mainQueue)
        : receivers_(receivers), mainQueue_(mainQueue) {}

    void asked(const UserAlerts::SecretRequest& request, Answer answer) override;

  private:
    const EmbeddedReceivers& receivers_;
    dispatch::Queue& mainQueue_;
    std::map<std::string, std::size_t> questions_; // of the present attempt, by receiver
};

} // namespace airplay
