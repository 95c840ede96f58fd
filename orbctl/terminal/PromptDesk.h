// SPDX-License-Identifier: MIT
#pragma once

#include "orbctl/terminal/Terminal.h"

#include "platform/airplay/embedded/PromptChannel.h"
#include "platform/foundation/RuntimeDirectory.h"

#include <filesystem>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string>

namespace orbctl {

/// Takes the questions of services for passwords and codes (see `docs/PROTOCOL.md`) and puts them to the
/// person, one after the other. Without a terminal each is dismissed. Main queue.
class PromptDesk {
  public:
    /// `say` takes a line for the person. Throws RuntimeDirectoryError, or std::system_error when there can
    /// be no socket.
    PromptDesk(dispatch::Queue& mainQueue, const foundation::RuntimeDirectory& runtimeDirectory,
               Terminal& terminal, std::function<void(const std::string& line)> say);
    ~PromptDesk();
    PromptDesk(const PromptDesk&) = delete;
    PromptDesk& operator=(const PromptDesk&) = delete;

    /// Where services find it.
    std::filesystem::path socket() const;

  private:
    struct Visitor {
        std::unique_ptr<airplay::PromptChannel> channel;
        std::optional<airplay::PromptQuestion> question = {};
    };
    using Visitors = std::list<Visitor>;

    void accept(int listener);
    void received(Visitors::iterator visitor, const std::optional<std::string>& line);
    void askNext();
    void withdraw();
    void answer(const std::optional<airplay::Secret>& secret);

    dispatch::Queue& mainQueue_;
    const foundation::RuntimeDirectory directory_;
    const std::string name_;
    Terminal& terminal_;
    const std::function<void(const std::string& line)> say_;
    Visitors visitors_;
    Visitors::iterator asking_ = visitors_.end();      // whose question is on the terminal
    std::shared_ptr<dispatch::DelayedWork> dismissal_; // of that question, where nobody can be asked
    std::optional<foundation::DescriptorWatch> listener_;
};

} // namespace orbctl
