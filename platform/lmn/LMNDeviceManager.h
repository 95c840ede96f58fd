// SPDX-License-Identifier: MIT
#pragma once

#include "platform/lmn/LMNDevice.h"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace lmn {

/// What the UIDs of the system's own devices begin with, and no others.
inline constexpr std::string_view systemDeviceUIDPrefix = "AirPlay::";

/// The virtual devices that this process knows. A device exists for all processes of the user from its
/// creation on, as a directory with its configuration and state. One of the system's own has only state
/// there: it is found while the system lists it.
///
/// One per process, made by the composition root. Any thread, unless an operation says otherwise.
class LMNDeviceManager {
  public:
    LMNDeviceManager(const foundation::RuntimeDirectory& runtimeDirectory, dispatch::Queue& mainQueue);

    /// The one of the process, see `foundation::SharedInstance`; nullptr when there is none.
    static LMNDeviceManager* sharedDeviceManager();

    /// The device of that UID; nullptr when there is none, when it is hidden and this process has not adopted
    /// or allowed it, or when it has no channels on the side asked for.
    std::shared_ptr<LMNDevice> deviceWithDeviceUID(std::string_view uid, bool input);

    /// Who lists the system's own devices; asked at each refresh, on the main queue, until another is set.
    void setSystemDevices(std::function<std::vector<LMNVirtualDeviceConfig>()> list);

    /// Refreshes: from now on those of the system's own devices are found that it lists now. On the main
    /// queue.
    void needsDevicesUpdate();

    /// Lets this process use a hidden device.
    void adoptHiddenDevice(std::string_view uid) { allowHiddenDevice(uid); }
    void allowHiddenDevice(std::string_view uid);

    /// A byte string from which every process of the user can make the device (see `archiveOf`).
    std::string archiveForDevice(const LMNDevice& device) const;

    /// The archive of a device that need not exist yet.
    std::string archiveFromConfig(const LMNVirtualDeviceConfig& config, bool input) const;

    /// The device of an archive, created if it does not exist; nullptr when the archive is none, the log then
    /// says why.
    std::shared_ptr<LMNDevice> deviceFromArchive(std::string_view archive);

    /// Lets go of a device that this process has no more use for; otherwise it is kept for good. What is on
    /// disk stays.
    void forget(std::string_view uid);

  private:
    std::optional<LMNVirtualDeviceConfig> configOf(std::string_view uid);
    std::shared_ptr<LMNDevice> open(const LMNVirtualDeviceConfig& config);

    const foundation::RuntimeDirectory directory_;
    dispatch::Queue& mainQueue_;
    dispatch::Lock lock_;
    std::function<std::vector<LMNVirtualDeviceConfig>()> listSystemDevices_ ORB_GUARDED_BY(lock_);
    std::map<std::string, std::shared_ptr<LMNDevice>, std::less<>> devices_ ORB_GUARDED_BY(lock_);
    std::map<std::string, LMNVirtualDeviceConfig, std::less<>> systemDevices_ ORB_GUARDED_BY(lock_);
    std::set<std::string, std::less<>> allowed_ ORB_GUARDED_BY(lock_);
};

} // namespace lmn
