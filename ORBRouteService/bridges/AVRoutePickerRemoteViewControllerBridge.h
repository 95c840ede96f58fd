// SPDX-License-Identifier: MIT
#pragma once

#include "ORBRouteService/AVRoutePickerRemoteViewControllerProtocol.h"

#include "platform/avkit/AVRoutePickerRemoteViewControllerClass.h"

#include <memory>
#include <utility>

namespace orb {

/// A route picker of the system, handed on as it is. Shared with whoever operates it; main queue.
class AVRoutePickerRemoteViewControllerBridge final : public AVRoutePickerRemoteViewControllerProtocol {
  public:
    using Controller = std::shared_ptr<avkit::AVRoutePickerRemoteViewController>;

    explicit AVRoutePickerRemoteViewControllerBridge(Controller controller)
        : controller_(std::move(controller)) {}

    /// A context of the system, or nullptr.
    void setOutputContext(std::shared_ptr<AVOutputContextProtocol> context) override;
    void startDiscoveringAudioRoutes() override { controller_->startDiscoveringAudioRoutes(); }
    void stopDiscoveringAudioRoutes() override { controller_->stopDiscoveringAudioRoutes(); }
    void setInhibitFirstResponder(bool inhibits) override { controller_->setInhibitFirstResponder(inhibits); }
    void setRevealsAllRoutes(bool reveals) override { controller_->setRevealsAllRoutes(reveals); }
    void setPrioritizesVideoDevices(bool prioritizes) override {
        controller_->setPrioritizesVideoDevices(prioritizes);
    }
    std::int64_t routingMethod() const override { return controller_->routingMethod(); }
    void setRoutingMethod(std::int64_t method) override { controller_->setRoutingMethod(method); }
    std::shared_ptr<appkit::NSViewController> viewController() const override { return controller_; }

  private:
    const Controller controller_;
};

/// Where the system's route pickers come from. Owned by ORBSystemClasses; main queue.
class AVRoutePickerRemoteViewControllerClassBridge final
    : public AVRoutePickerRemoteViewControllerClassProtocol {
  public:
    /// The class outlives this.
    explicit AVRoutePickerRemoteViewControllerClassBridge(
        avkit::AVRoutePickerRemoteViewControllerClass& controllers)
        : controllers_(controllers) {}

    void requestViewController(Completion completion) override;

  private:
    avkit::AVRoutePickerRemoteViewControllerClass& controllers_;
};

} // namespace orb
