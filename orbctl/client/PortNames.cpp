// SPDX-License-Identifier: MIT
#include "orbctl/client/PortNames.h"

#include "platform/foundation/coding/UUID.h"

namespace orbctl {

PortNames PortNames::fresh() {
    const std::string uuid = foundation::UUID::random().string();
    return {.service = "service-" + uuid, .parent = "parent-" + uuid};
}

} // namespace orbctl
