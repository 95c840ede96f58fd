// SPDX-License-Identifier: MIT
#pragma once

#include "platform/accessibility/AXTree.h"
#include "platform/accessibility/Accessibility.h"

#include <map>
#include <memory>

namespace accessibility {

/// The user interfaces that are published within this process: its own windows, and those of the stand-ins
/// for other processes. Trust is a switch. Main thread.
class EmbeddedAccessibility final : public Accessibility {
  public:
    bool isProcessTrusted() override { return isTrusted_; }
    bool isProcessTrustedWithOptions(Prompt prompt) override;
    AXUIElement createApplication(pid_t process) override;

    /// The element under which a process publishes its windows; made at first use.
    AXTreeElement& application(pid_t process);

    void setTrusted(bool isTrusted) { isTrusted_ = isTrusted; }

    /// How often the user was asked for the permission.
    int prompts() const { return prompts_; }

  private:
    std::map<pid_t, std::unique_ptr<AXTreeElement>> applications_;
    bool isTrusted_ = true;
    int prompts_ = 0;
};

} // namespace accessibility
