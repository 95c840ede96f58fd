// SPDX-License-Identifier: MIT
#pragma once

#include "ORBRouteService/audio/settings/ORBManager.h"

#include "platform/dispatch/Task.h"
#include "platform/dispatch/TaskPool.h"
#include "platform/dispatch/real/RealRealm.h"
#include "platform/foundation/RuntimeDirectory.h"
#include "platform/foundation/SharedInstance.h"
#include "platform/lmn/LMNDeviceManager.h"

#include <functional>
#include <memory>
#include <utility>

namespace orbctl {

/// The system as a parent application sees it: the directories of the user, the settings, the virtual
/// devices. One per process; made and destroyed on the main queue of its realm.
class ParentPlatform {
  public:
    /// Throws what opening the user's directories throws.
    explicit ParentPlatform(dispatch::RealRealm& realm);

    dispatch::RealRealm& realm() { return realm_; }
    dispatch::Queue& mainQueue() { return realm_.mainQueue(); }
    dispatch::TaskPool& taskPool() { return taskPool_; }
    foundation::NotificationCenter& notifications() { return notifications_; }
    const foundation::RuntimeDirectory& runtimeDirectory() const { return runtimeDirectory_; }
    lmn::LMNDeviceManager& deviceManager() { return deviceManager_; }
    orb::ORBManager& manager() { return manager_; }

    /// Whether what was changed by `manager` is in the preferences; if not, it was reported why.
    bool settingsAreSaved() const { return defaults_->isSaved(); }

    /// What must be put right even when the process ends at once; may be empty.
    void setLastAct(std::function<void()> act) { lastAct_ = std::move(act); }
    void actLast() const {
        if (lastAct_) {
            lastAct_();
        }
    }

  private:
    dispatch::RealRealm& realm_;
    const foundation::RuntimeDirectory runtimeDirectory_;
    dispatch::TaskPool taskPool_;
    foundation::NotificationCenter notifications_;
    foundation::DistributedNotificationCenter distributedNotifications_;
    const std::unique_ptr<orb::ORBUserDefaults> defaults_;
    orb::ORBManager manager_;
    const foundation::SharedInstance<orb::ORBManager> sharedManager_{manager_};
    lmn::LMNDeviceManager deviceManager_;
    const foundation::SharedInstance<lmn::LMNDeviceManager> sharedDeviceManager_{deviceManager_};
    std::function<void()> lastAct_;
};

/// What a command does: its value is the exit status.
using ParentWork = std::function<dispatch::Task<int>(ParentPlatform& platform)>;

inline constexpr int interruptedStatus = 130;

/// Runs `work` on the main queue of a realm of its own and gives what it gives; throws what it throws.
/// SIGINT, SIGTERM and SIGHUP cancel it, which by itself gives `interruptedStatus`; a second one ends the
/// process at once.
int onParentPlatform(const ParentWork& work);

} // namespace orbctl
