// SPDX-License-Identifier: MIT
#include "ORBRouteService/bridges/ORBSystemClasses.h"

#include "ORBRouteService/log/ORBDebugLog.h"

#include <sysexits.h>

#include <cstdlib>

namespace orb {

template <typename Class>
Class& ORBSystemClasses::find(const char* name) const {
    Class* found = registry_.classNamed<Class>(name);
    if (found == nullptr) {
        ORBDebugLog(4, "The system class \"{}\" is missing or cannot be used", name);
        std::exit(EX_SOFTWARE);
    }
    return *found;
}

AVOutputContextClassProtocol& ORBSystemClasses::outputContextClass() {
    std::call_once(outputContextBound_, [this] {
        find<avfoundation::AVOutputDeviceClass>("AVOutputDevice");
        outputContext_.emplace(find<avfoundation::AVOutputContextClass>("AVOutputContext"));
    });
    return *outputContext_;
}

AVRoutePickerRemoteViewControllerClassProtocol& ORBSystemClasses::routePickerClass() {
    std::call_once(routePickerBound_, [this] {
        routePicker_.emplace(
            find<avkit::AVRoutePickerRemoteViewControllerClass>("AVRoutePickerRemoteViewController"));
    });
    return *routePicker_;
}

void ORBSystemClasses::resolveAll() {
    outputContextClass();
    routePickerClass();
}

} // namespace orb
