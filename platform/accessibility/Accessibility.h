// SPDX-License-Identifier: MIT
#pragma once

#include "platform/accessibility/AXUIElement.h"

#include <sys/types.h>

namespace accessibility {

/// The user interfaces of the user's processes, to be read and operated. The seam to whatever publishes them;
/// one per process, made by the composition root. Main thread.
class Accessibility {
  public:
    enum class Prompt {
        no,
        show, ///< ask the user for the permission where it is missing
    };

    virtual ~Accessibility() = default;

    /// Whether this process may use the interface.
    virtual bool isProcessTrusted() = 0;
    virtual bool isProcessTrustedWithOptions(Prompt prompt) = 0;

    /// The element of a process, whose children are its windows. Of a process without a user interface it has
    /// none.
    virtual AXUIElement createApplication(pid_t process) = 0;
};

} // namespace accessibility
