// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>

namespace lmn {
class LMNDevice;
class LMNDeviceManager;
} // namespace lmn

namespace orb {

/// A new virtual device, stereo and not hidden; the one of that UID if it exists. Throws DeviceRestoreError
/// when the manager makes none. Any thread.
std::shared_ptr<lmn::LMNDevice> createDevice(lmn::LMNDeviceManager& manager, const std::string& name,
                                             const std::string& deviceUID, bool isInput);

} // namespace orb
