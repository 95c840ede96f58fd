// SPDX-License-Identifier: MIT
#include "platform/avkit/embedded/EmbeddedAirPlay.h"

#include <unistd.h>

#include <utility>

namespace avkit {

EmbeddedAirPlay::EmbeddedAirPlay(EmbeddedAirPlayParts parts)
    : application_({.realm = parts.realm, .element = accessibility_.application(::getpid())}),
      receivers_(std::move(parts.receiversFile),
                 {.mainQueue = parts.realm.mainQueue(), .report = parts.playback.report()},
                 std::move(parts.observers)),
      scriptedUser_(receivers_, parts.realm.mainQueue()),
      agent_({.mainQueue = parts.realm.mainQueue(),
              .workspace = workspace_,
              .element = accessibility_.application(AirPlayUIAgent::processIdentifier),
              .user = parts.user != nullptr ? parts.user : &scriptedUser_}),
      outputContextClass_({.playback = parts.playback,
                           .notifications = parts.notifications,
                           .alerts = &agent_,
                           .deviceManager = parts.deviceManager}),
      routePickerClass_(
          {.mainQueue = parts.realm.mainQueue(), .discovery = receivers_, .arrival = parts.pickerArrival}) {
    classes_.add("AVOutputDevice", outputDeviceClass_);
    classes_.add("AVOutputContext", outputContextClass_);
    classes_.add("AVRoutePickerRemoteViewController", routePickerClass_);
}

} // namespace avkit
