// SPDX-License-Identifier: MIT
#pragma once

#include "ORBRouteService/devices/AVOutputDeviceProtocol.h"
#include "ORBRouteService/devices/LMNDeviceAccessors.h"

#include <map>
#include <memory>
#include <optional>
#include <string>

namespace lmn {
class LMNDevice;
}

namespace orb {

// All of these look at the device as it is now; nothing is kept. On the threads of the device.

/// The device's TXT record; absent when its properties have none.
std::optional<std::map<std::string, foundation::Data>> txtRecordData(const AVOutputDeviceProtocol& device);

/// The same without the values that are no UTF-8.
std::optional<TxtRecord> txtRecord(const AVOutputDeviceProtocol& device);

/// TXT "deviceid", else the device's `ID`, in upper case with colons.
std::string fwMACAddress(const AVOutputDeviceProtocol& device);

/// TXT "btaddr" and "pk"; empty when there is none.
std::string fwBTAddress(const AVOutputDeviceProtocol& device);
std::string fwPK(const AVOutputDeviceProtocol& device);

/// TXT "tsid".
std::optional<std::string> fwTSID(const AVOutputDeviceProtocol& device);

/// The virtual device that stands for this output device, found or created, by
/// `LMNDeviceManager::sharedDeviceManager()`, which there must be. Devices of one group have one together.
/// Throws DeviceRestoreError.
std::shared_ptr<lmn::LMNDevice> lmnDevice(const AVOutputDeviceProtocol& device);

/// Whether the virtual device stands for this output device: by the UID that follows from its TXT record,
/// else by its MAC address. The device's `ID` takes the place of a "deviceid" that either record lacks, so
/// that two records without one, and without a group, match.
bool matches(const AVOutputDeviceProtocol& outputDevice, const lmn::LMNDevice& device);

} // namespace orb
