// SPDX-License-Identifier: MIT
#pragma once

#include "ORBRouteService/devices/AVOutputContextProtocol.h"

#include "platform/appkit/NSViewController.h"

#include <cstdint>
#include <functional>
#include <memory>

namespace orb {

/// The service's view of the system's route picker. Shared by its window and whoever operates it; main queue.
class AVRoutePickerRemoteViewControllerProtocol {
  public:
    AVRoutePickerRemoteViewControllerProtocol() = default;
    virtual ~AVRoutePickerRemoteViewControllerProtocol() = default;
    AVRoutePickerRemoteViewControllerProtocol(const AVRoutePickerRemoteViewControllerProtocol&) = delete;
    AVRoutePickerRemoteViewControllerProtocol& operator=(const AVRoutePickerRemoteViewControllerProtocol&) =
        delete;

    /// The context that the picker routes to; nullptr: none.
    virtual void setOutputContext(std::shared_ptr<AVOutputContextProtocol> context) = 0;
    virtual void startDiscoveringAudioRoutes() = 0;
    virtual void stopDiscoveringAudioRoutes() = 0;
    virtual void setInhibitFirstResponder(bool inhibits) = 0;
    virtual void setRevealsAllRoutes(bool reveals) = 0;
    virtual void setPrioritizesVideoDevices(bool prioritizes) = 0;
    virtual std::int64_t routingMethod() const = 0;
    virtual void setRoutingMethod(std::int64_t method) = 0;

    /// What a window hosts.
    virtual std::shared_ptr<appkit::NSViewController> viewController() const = 0;
};

/// Where route pickers come from. Main queue.
class AVRoutePickerRemoteViewControllerClassProtocol {
  public:
    using Completion = std::function<void(std::shared_ptr<AVRoutePickerRemoteViewControllerProtocol>)>;

    AVRoutePickerRemoteViewControllerClassProtocol() = default;
    virtual ~AVRoutePickerRemoteViewControllerClassProtocol() = default;
    AVRoutePickerRemoteViewControllerClassProtocol(const AVRoutePickerRemoteViewControllerClassProtocol&) =
        delete;
    AVRoutePickerRemoteViewControllerClassProtocol& operator=(
        const AVRoutePickerRemoteViewControllerClassProtocol&) = delete;

    /// Asks the system for one. The completion is called in a later turn, or never.
    virtual void requestViewController(Completion completion) = 0;
};

} // namespace orb
