// SPDX-License-Identifier: MIT
#pragma once

#include "ORBRouteService/bridges/AVOutputContextClassBridge.h"
#include "ORBRouteService/bridges/AVRoutePickerRemoteViewControllerBridge.h"

#include "platform/foundation/ClassRegistry.h"

#include <mutex>
#include <optional>

namespace orb {

/// The classes of the system that the service works with, found by their names. Each is bound once, when it
/// is first asked for. A class that the system lacks, or that is of another kind than it was built for, ends
/// the process by `std::exit` with status 70 (`EX_SOFTWARE`), after a line in the log.
///
/// One per process, made by the composition root. Any thread may bind; what is bound has its own thread.
class ORBSystemClasses {
  public:
    /// The registry, and what is in it, outlives this.
    explicit ORBSystemClasses(const foundation::ClassRegistry& registry) : registry_(registry) {}

    /// Binds the class of the output devices, too: it has to be there for a context to list its objects, and
    /// there is nothing else to ask it for.
    AVOutputContextClassProtocol& outputContextClass();
    AVRoutePickerRemoteViewControllerClassProtocol& routePickerClass();

    /// Binds them all, so that what is missing shows at the start.
    void resolveAll();

  private:
    template <typename Class>
    Class& find(const char* name) const;

    const foundation::ClassRegistry& registry_;
    std::once_flag outputContextBound_;
    std::once_flag routePickerBound_;
    std::optional<AVOutputContextClassBridge> outputContext_;
    std::optional<AVRoutePickerRemoteViewControllerClassBridge> routePicker_;
};

} // namespace orb
