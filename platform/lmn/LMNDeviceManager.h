// SPDX-License-Identifier: MIT
#pragma once

#include "platform/lmn/LMNDevice.h"

#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>

namespace lmn {

/// The virtual devices that this process knows. A device exists for all processes of the user from its
/// creation on, as a directory with its configuration and state.
///
/// One per process, made by the composition root. Any thread.
class LMNDeviceManager {
  public:
    LMNDeviceManager(const foundation::RuntimeDirectory& runtimeDirectory, dispatch::Queue& mainQueue);

    /// The one of the process, see `foundation::SharedInstance`; nullptr when there is none.
    static LMNDeviceManager* sharedDeviceManager();

    /// The device of that UID; nullptr when there is none, when it is hidden and this process has not adopted
    /// or allowed it, or when it has no channels on the side asked for.
    std::shared_ptr<LMNDevice> deviceWithDeviceUID(std::string_view uid, bool input);

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

  private:
    std::shared_ptr<LMNDevice> open(const LMNVirtualDeviceConfig& config);

    const foundation::RuntimeDirectory directory_;
    dispatch::Queue& mainQueue_;
    dispatch::Lock lock_;
    std::map<std::string, std::shared_ptr<LMNDevice>, std::less<>> devices_ ORB_GUARDED_BY(lock_);
    std::set<std::string, std::less<>> allowed_ ORB_GUARDED_BY(lock_);
};

} // namespace lmn
