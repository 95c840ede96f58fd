// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dispatch/real/RealRealm.h"

#include <chrono>

namespace support {

/// Runs the main queue until somebody stops it; false when nobody did for long.
inline bool runUntilStopped(dispatch::RealRealm& realm) {
    bool late = false;
    const auto limit = realm.mainQueue().asyncAfter(std::chrono::seconds(30), [&] {
        late = true;
        realm.stop();
    });
    realm.run();
    limit->cancel();
    return !late;
}

} // namespace support
