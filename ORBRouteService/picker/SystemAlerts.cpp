// SPDX-License-Identifier: MIT
#include "ORBRouteService/picker/SystemAlerts.h"

#include "ORBRouteService/devices/LMNDeviceAccessors.h"
#include "ORBRouteService/picker/toolkit/AXSearch.h"

#include <algorithm>

namespace orb {
namespace {

constexpr std::string_view passwordPrompt = "Enter the AirPlay password for";
constexpr std::string_view codePrompt = "Enter the AirPlay code for";
constexpr std::string_view failureAlert = "Could not connect to";
constexpr std::string_view closingButton = "OK";

/// Which child of an alert's window carries its message.
constexpr std::size_t messageElement = 1;

bool contains(std::string_view text, std::string_view fragment) { return text.find(fragment) != text.npos; }

/// The message of the agent's first window.
std::optional<std::string> messageOf(const AXUIElement& agent) {
    const AXElements windows = children(agent);
    if (windows.empty()) {
        return std::nullopt;
    }
    const AXElements elements = children(windows.front());
    return elements.size() > messageElement ? stringValue(elements[messageElement]) : std::nullopt;
}

} // namespace

std::optional<AXUIElement> SystemAlerts::agent() const {
    const auto& running = workspace_.runningApplications();
    const auto found =
        std::ranges::find(running, agentBundleIdentifier, &appkit::NSRunningApplication::bundleIdentifier);
    return found != running.end() ? std::optional(accessibility_.createApplication(found->processIdentifier))
                                  : std::nullopt;
}

bool SystemAlerts::isPasswordEntryShown(const lmn::LMNDevice& device) const {
    const std::optional<AXUIElement> agent = this->agent();
    const std::optional<std::string> message = agent ? messageOf(*agent) : std::nullopt;
    return message && (contains(*message, passwordPrompt) || contains(*message, codePrompt)) &&
           contains(*message, orbServiceName(device));
}

dispatch::Task<std::optional<AXUIElement>> SystemAlerts::getAlertButton(const lmn::LMNDevice& device) const {
    const std::optional<AXUIElement> agent = this->agent();
    const std::optional<std::string> message = agent ? messageOf(*agent) : std::nullopt;
    const bool isOurs =
        message && contains(*message, failureAlert) && contains(*message, orbServiceName(device));
    co_return isOurs ? findElement(*agent, closingButton) : std::nullopt;
}

} // namespace orb
