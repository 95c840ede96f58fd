// SPDX-License-Identifier: MIT
#include "platform/appkit/NSWorkspace.h"

#include <utility>

namespace appkit {

void NSWorkspace::launched(NSRunningApplication application) {
    applications_.push_back(std::move(application));
}

void NSWorkspace::terminated(pid_t process) {
    std::erase_if(applications_, [process](const NSRunningApplication& application) {
        return application.processIdentifier == process;
    });
}

} // namespace appkit
