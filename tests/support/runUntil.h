// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dispatch/real/RealRealm.h"

#include <chrono>
#include <functional>

namespace support {

/// Runs the main queue until `done` holds, which is looked at every millisecond; false when it does not for
/// long.
inline bool runUntil(dispatch::RealRealm& realm, const std::function<bool()>& done) {
    const dispatch::HostTime limit = realm.clock().now() + std::chrono::seconds(30);
    bool held = false;
    const std::function<void()> look = [&] {
        held = done();
        if (held || realm.clock().now() > limit)
            return realm.stop();
        realm.mainQueue().asyncAfter(std::chrono::milliseconds(1), [&look] { look(); });
    };
    realm.mainQueue().async([&look] { look(); });
    realm.run();
    return held;
}

} // namespace support
