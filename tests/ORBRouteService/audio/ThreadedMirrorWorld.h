// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dispatch/real/RealRealm.h"
#include "tests/ORBRouteService/audio/MirrorWorld.h"
#include "tests/platform/lmn/LMNTestWorld.h"

#include <memory>

namespace orb {

/// Lets go of a world's mirror device on the main queue, and of the world once the device has gone: a pass of
/// the feeding may have held it until a later turn. Whether it went.
inline bool takeDown(dispatch::RealRealm& realm, std::unique_ptr<MirrorWorld>& world) {
    realm.mainQueue().async([&] { world->mirrorReference().reset(); });
    const bool hasGone =
        lmn::runUntil(realm, [&] { return world->countLines("ORBMirrorDevice deinit") == 1; });
    realm.mainQueue().async([&] {
        world.reset();
        realm.stop();
    });
    realm.run();
    return hasGone;
}

} // namespace orb
