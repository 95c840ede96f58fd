// SPDX-License-Identifier: MIT
#pragma once

#include "platform/accessibility/AXTree.h"

namespace appkit {

/// What fills a window. Shared between the window that shows it and whoever operates it. Main queue.
class NSViewController {
  public:
    NSViewController() = default;
    virtual ~NSViewController() = default;
    NSViewController(const NSViewController&) = delete;
    NSViewController& operator=(const NSViewController&) = delete;

    /// Publishes the content below `view`, which stays until `unloadView`.
    virtual void loadView(accessibility::AXTreeElement& view) = 0;

    /// Takes the content out; `view` is not touched any more.
    virtual void unloadView() = 0;
};

} // namespace appkit
