// SPDX-License-Identifier: MIT
#pragma once

#include "platform/avkit/AVRoutePickerRemoteViewController.h"

#include <functional>
#include <memory>
#include <optional>

namespace avkit {

/// Makes route pickers. They come from another process, so that each takes its time. Made by the composition
/// root; main queue.
class AVRoutePickerRemoteViewControllerClass {
  public:
    struct Parts {
        dispatch::Queue& mainQueue;
        airplay::Discovery& discovery;
        /// From a request to its completion; nullopt: for ever, a fault that systems have.
        std::optional<dispatch::Nanoseconds> arrival = std::chrono::milliseconds(50);
    };
    using Completion = std::function<void(std::shared_ptr<AVRoutePickerRemoteViewController>)>;

    explicit AVRoutePickerRemoteViewControllerClass(const Parts& parts) : parts_(parts) {}

    /// Completes on the main queue, even when this has gone meanwhile; the parts stay until then.
    void requestViewController(Completion completion);

  private:
    const Parts parts_;
};

} // namespace avkit
