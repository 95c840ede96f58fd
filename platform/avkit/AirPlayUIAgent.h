// SPDX-License-Identifier: MIT
#pragma once

#include "platform/accessibility/AXTree.h"
#include "platform/airplay/PromptedUser.h"
#include "platform/airplay/UserAlerts.h"
#include "platform/appkit/NSWorkspace.h"
#include "platform/dispatch/Queue.h"

#include <sys/types.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace avkit {

/// The process that shows the alerts of receivers. It runs while it shows one, and publishes each as a window
/// of its own, the newest first:
///
///     AXWindow > AXImage, AXStaticText (AXValue: the message), for a question an AXTextField, AXButton...
///
/// Buttons have their text as AXTitle: "OK" acknowledges a failure; a question has "Cancel", which dismisses
/// it, and "OK", which does nothing, since nobody types: whoever plays the user is asked directly. What is
/// answered is never published.
///
/// Made by the composition root, outlives its alerts. Main queue.
class AirPlayUIAgent final : public airplay::UserAlerts {
  public:
    static constexpr std::string_view bundleIdentifier = "com.apple.AirPlayUIAgent";

    /// No process has it: the kernel's are below 2^22.
    static constexpr pid_t processIdentifier = (1 << 22) + 1;

    struct Parts {
        dispatch::Queue& mainQueue;
        appkit::NSWorkspace& workspace;
        accessibility::AXTreeElement& element; ///< below which `processIdentifier` publishes its windows
        airplay::PromptedUser* user = nullptr; ///< nullptr: nobody answers
    };

    explicit AirPlayUIAgent(const Parts& parts) : parts_(parts) {}

    /// Messages: `Enter the AirPlay password for “NAME”.`, or `code` for `password`; after a wrong answer
    /// `The answer was wrong.` and a space come before.
    std::unique_ptr<Alert> askForSecret(
        airplay::UserAlerts::SecretRequest request,
        std::function<void(std::optional<airplay::Secret> answer)> answered) override;

    /// Message: `Could not connect to “NAME”.`
    std::unique_ptr<Alert> tellFailure(std::string name, std::function<void()> acknowledged) override;

  private:
    class Window;
    class ShownAlert;

    accessibility::AXTreeElement& show(std::string_view message);
    void takeAway(const accessibility::AXTreeElement& window);

    const Parts parts_;
};

} // namespace avkit
