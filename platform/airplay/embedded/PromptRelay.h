// SPDX-License-Identifier: MIT
#pragma once

#include "platform/airplay/PlaybackSystem.h"
#include "platform/airplay/embedded/PromptChannel.h"
#include "platform/airplay/embedded/ScriptedUser.h"

#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace airplay {

/// A user in another process, who is asked over a Unix stream socket, a connection for each question (see
/// `docs/PROTOCOL.md`). The connection is closed when the receiver asks anew. Whoever cannot be reached, or
/// leaves, or talks nonsense, has dismissed the question. Made by the composition root; main queue.
class PromptRelay final : public PromptedUser {
  public:
    /// `socket` is looked for at each question.
    PromptRelay(dispatch::Queue& mainQueue, std::filesystem::path socket, Report report);
    ~PromptRelay() override;

    /// From now on the receivers of the file whose entries have answers are not asked about: these answers
    /// count. `receivers` outlive this.
    void leaveToScript(const EmbeddedReceivers& receivers);

    void asked(const UserAlerts::SecretRequest& request, Answer answer) override;

  private:
    bool isScripted(const std::string& receiver) const;

    dispatch::Queue& mainQueue_;
    const std::filesystem::path socket_;
    const Report report_;
    const EmbeddedReceivers* receivers_ = nullptr;
    std::optional<ScriptedUser> scripted_;
    std::map<std::string, std::unique_ptr<PromptChannel>> questions_; // by receiver
};

} // namespace airplay
