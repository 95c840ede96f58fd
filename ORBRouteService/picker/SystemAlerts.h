// SPDX-License-Identifier: MIT
#pragma once

#include "ORBRouteService/picker/toolkit/AXElementAttributes.h"

#include "platform/accessibility/Accessibility.h"
#include "platform/appkit/NSWorkspace.h"
#include "platform/dispatch/Task.h"

#include <optional>
#include <string>
#include <string_view>

namespace lmn {
class LMNDevice;
}

namespace orb {

/// The alerts with which the system's AirPlay agent asks and tells the user, as far as they concern one
/// device: those that name it as the picker does. Every look reads the agent's windows afresh; an agent that
/// is not running, or shows something else, is no alert. Owned by the picker window; main thread.
class SystemAlerts {
  public:
    static constexpr std::string_view agentBundleIdentifier = "com.apple.AirPlayUIAgent";

    SystemAlerts(const appkit::NSWorkspace& workspace, accessibility::Accessibility& accessibility)
        : workspace_(workspace), accessibility_(accessibility) {}

    /// Whether the user is asked for the device's password or code.
    bool isPasswordEntryShown(const lmn::LMNDevice& device) const;

    /// The button that closes the message that the device could not be connected.
    dispatch::Task<std::optional<AXUIElement>> getAlertButton(const lmn::LMNDevice& device) const;

  private:
    std::optional<AXUIElement> agent() const;

    const appkit::NSWorkspace& workspace_;
    accessibility::Accessibility& accessibility_;
};

} // namespace orb
