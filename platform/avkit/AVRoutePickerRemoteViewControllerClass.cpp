// SPDX-License-Identifier: MIT
#include "platform/avkit/AVRoutePickerRemoteViewControllerClass.h"

#include <utility>

namespace avkit {

void AVRoutePickerRemoteViewControllerClass::requestViewController(Completion completion) {
    if (!parts_.arrival) {
        return;
    }
    parts_.mainQueue.asyncAfter(*parts_.arrival, [parts = parts_, completion = std::move(completion)] {
        completion(std::make_shared<AVRoutePickerRemoteViewController>(parts.mainQueue, parts.discovery));
    });
}

} // namespace avkit
