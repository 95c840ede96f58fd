// SPDX-License-Identifier: MIT
#include "platform/accessibility/embedded/EmbeddedAccessibility.h"

namespace accessibility {

bool EmbeddedAccessibility::isProcessTrustedWithOptions(Prompt prompt) {
    if (prompt == Prompt::show) {
        ++prompts_;
    }
    return isTrusted_;
}

AXUIElement EmbeddedAccessibility::createApplication(pid_t process) { return application(process).handle(); }

AXTreeElement& EmbeddedAccessibility::application(pid_t process) {
    std::unique_ptr<AXTreeElement>& element = applications_[process];
    if (!element) {
        element = std::make_unique<AXTreeElement>("AXApplication");
    }
    return *element;
}

} // namespace accessibility
