// SPDX-License-Identifier: MIT
#include "ORBRouteService/picker/waitForConnectionConfirmation.h"

#include "ORBRouteService/devices/AVOutputDeviceAccessors.h"
#include "ORBRouteService/ipc/ORBDeviceConnectionError.h"
#include "ORBRouteService/log/ORBDebugLog.h"
#include "ORBRouteService/log/flight/FlightRecorder.h"
#include "ORBRouteService/picker/ConnectionConfirmation.h"

#include "platform/lmn/LMNDevice.h"

#include <algorithm>
#include <utility>

namespace orb {
namespace {

using Action = ConnectionConfirmation::Action;
using Case = ORBDeviceConnectionError::Case;

/// What is recorded of an action; the looks and pauses between are not.
std::string_view phaseOf(Action action) {
    switch (action) {
        case Action::announcePrompt:
            return "a password is asked for";
        case Action::succeed:
            return "connected";
        case Action::pressAlertButtonAndFail:
            return "rejected by an alert";
        case Action::failForPassword:
            return "no password";
        case Action::failForTimeout:
            return "timed out";
        default:
            return {};
    }
}

void recordPhase(const lmn::LMNDevice& device, std::string_view phase) {
    if (!phase.empty())
        recordFlight(FlightKind::confirmation, {.subject = device.name(), .text = phase});
}

/// Looks and acts as the wait decides.
class Confirmation {
  public:
    Confirmation(const SystemAlerts& alerts, const lmn::LMNDevice& device, AVOutputContextProtocol& context)
        : alerts_(alerts), device_(device), context_(context) {}

    /// Does what `action` says; the answer of a look, else false. Throws what the wait ends in.
    dispatch::Task<bool> perform(Action action) {
        switch (action) {
            case Action::lookInContext:
                co_return isInContext();
            case Action::lookForPrompt:
                co_return alerts_.isPasswordEntryShown(device_);
            case Action::lookForAlert:
                button_ = co_await alerts_.getAlertButton(device_);
                co_return button_.has_value();
            case Action::announcePrompt:
                ORBDebugLog(0, "{}: Password entry shown", device_.description());
                break;
            case Action::sleepWithPrompt:
                co_await dispatch::sleepThroughCancellation(ConnectionConfirmation::promptPause);
                break;
            case Action::sleepBetweenPolls:
                co_await dispatch::sleepThroughCancellation(ConnectionConfirmation::pollPause);
                break;
            case Action::pressAlertButtonAndFail:
                ORBDebugLog(0, "{}: Connection failure alert shown for device", device_.description());
                press(*button_);
                throw ORBDeviceConnectionError(Case::connectionRejectectedMessage);
            case Action::failForPassword:
                throw ORBDeviceConnectionError(Case::passwordRequired, LMNDeviceCodable::from(device_));
            case Action::failForTimeout:
                throw ORBDeviceConnectionError(Case::timeoutWaitingForDevice,
                                               LMNDeviceCodable::from(device_));
            case Action::succeed:
                break;
        }
        co_return false;
    }

  private:
    bool isInContext() const {
        const auto devices = context_.outputDevices();
        return std::ranges::any_of(
            devices, [this](const auto& output) { return lmnDevice(*output).get() == &device_; });
    }

    const SystemAlerts& alerts_;
    const lmn::LMNDevice& device_;
    AVOutputContextProtocol& context_;
    std::optional<AXUIElement> button_; // of the alert seen last
};

} // namespace

dispatch::Task<> waitForConnectionConfirmation(const SystemAlerts& alerts,
                                               std::shared_ptr<lmn::LMNDevice> device,
                                               std::shared_ptr<AVOutputContextProtocol> context) {
    const dispatch::Clock& clock = (co_await dispatch::currentQueue())->clock();
    Confirmation confirmation(alerts, *device, *context);
    ConnectionConfirmation wait(clock.now());
    ORBDebugLog(0, "{}: Waiting for device connection confirmation", device->description());
    recordPhase(*device, "waiting");
    bool answer = false;
    for (Action action{}; action != Action::succeed;) {
        action = wait.next(clock.now(), answer);
        recordPhase(*device, phaseOf(action));
        answer = co_await confirmation.perform(action);
    }
}

} // namespace orb
