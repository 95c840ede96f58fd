// SPDX-License-Identifier: MIT
#pragma once

#include "ORBRouteService/audio/settings/ORBManager.h"

#include "platform/dispatch/Realm.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <string>

namespace orb {

/// What a process that shares the settings is built of: the preferences file and the sockets of one
/// directory. Several in one process pass for several processes.
struct SettingsProcess {
    SettingsProcess(dispatch::Realm& realm, const std::filesystem::path& directory,
                    const std::function<void(std::string)>& report)
        : distributed(realm.mainQueue(), foundation::RuntimeDirectory(directory), report),
          defaults(ORBUserDefaults::create({realm.mainQueue(), center, directory / "config", report})),
          queue(realm.mainQueue()) {}

    /// Once whoever wants to see its creation observes.
    void makeManager() {
        manager = std::make_unique<ORBManager>(ORBManagerContext{queue, center, distributed, *defaults});
    }

    foundation::NotificationCenter center;
    foundation::DistributedNotificationCenter distributed;
    const std::unique_ptr<ORBUserDefaults> defaults;
    dispatch::Queue& queue;
    std::unique_ptr<ORBManager> manager;
};

} // namespace orb
