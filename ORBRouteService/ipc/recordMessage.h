// SPDX-License-Identifier: MIT
#pragma once

#include "ORBRouteService/ipc/IPCMessage.h"
#include "ORBRouteService/log/flight/FlightRecorder.h"

namespace orb {

enum class MessageDirection { received, sent };
enum class MessageContent { anything, error };

/// Records a message between the service and its parent, in the flight recording of this process: what it is
/// called, its identifier, the names and UIDs of its devices; never their archives. A message that could not
/// be sent says so by `failed`. Tells whether it is an error, which is known only where there is a recorder.
/// Any thread.
MessageContent recordMessage(MessageDirection direction, const IPCMessage& message, bool failed = false);

} // namespace orb
