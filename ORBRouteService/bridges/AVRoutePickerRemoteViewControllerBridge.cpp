// SPDX-License-Identifier: MIT
#include "ORBRouteService/bridges/AVRoutePickerRemoteViewControllerBridge.h"

#include "ORBRouteService/bridges/AVOutputContextBridge.h"

namespace orb {

void AVRoutePickerRemoteViewControllerBridge::setOutputContext(
    std::shared_ptr<AVOutputContextProtocol> context) {
    controller_->setOutputContext(AVOutputContextBridge::contextBehind(context));
}

void AVRoutePickerRemoteViewControllerClassBridge::requestViewController(Completion completion) {
    controllers_.requestViewController(
        [completion = std::move(completion)](AVRoutePickerRemoteViewControllerBridge::Controller controller) {
            completion(std::make_shared<AVRoutePickerRemoteViewControllerBridge>(std::move(controller)));
        });
}

} // namespace orb
