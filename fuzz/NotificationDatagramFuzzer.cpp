// SPDX-License-Identifier: MIT
// A datagram from anybody: a notification with a name, or a reason why not; and any notification that can be
// said arrives as it was.
#include "fuzz/Fuzzing.h"
#include "platform/foundation/NotificationDatagram.h"

#include <string>

using namespace foundation;

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto heard = notificationOf(fuzz::textOf(data, size));
    if (const auto* malformed = std::get_if<MalformedDatagram>(&heard)) {
        ORB_CHECK(!malformed->reason.empty(), "no reason");
        return 0;
    }
    const auto& notification = std::get<DistributedNotification>(heard);
    ORB_CHECK(!notification.name.empty(), "no name");
    const std::string said = datagramOf(notification);
    const auto again = notificationOf(said);
    const auto* same = std::get_if<DistributedNotification>(&again);
    ORB_CHECK(same != nullptr, "{}", said);
    ORB_CHECK(same->name == notification.name && same->object == notification.object, "{}", said);
    return 0;
}
