// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace lmn {
class LMNDevice;
}

namespace orb {

/// Where a device's overrides hold what is known of the AirPlay output that it stands for. All but the symbol
/// name are written by the parent.
inline constexpr const char* ORBMacAddressOverrideKey = "ORBDeviceID";      // text
inline constexpr const char* ORBTxtRecordOverrideKey = "ORBTxtRecord";      // object of texts
inline constexpr const char* ORBServiceTypeOverrideKey = "ORBServiceType";  // text
inline constexpr const char* ORBServiceName = "ORBServiceName";             // text
inline constexpr const char* ORBDeviceIndex = "ORBDeviceIndex";             // integer
inline constexpr const char* ORBDefaultSymbolName = "ORBDefaultSymbolName"; // text

/// A Bonjour TXT record.
using TxtRecord = std::map<std::string, std::string>;

// All of these look at the overrides as they are now; nothing is kept. A value of another type than its key's
// counts as absent. Any thread.

/// The MAC address as the parent knows it.
std::optional<std::string> orbMacAddress(const lmn::LMNDevice& device);

/// Absent also when one of its values is no text.
std::optional<TxtRecord> orbTxtRecord(const lmn::LMNDevice& device);

/// The Bonjour service type under which the output was found, "_raop._tcp." say.
std::optional<std::string> orbServiceType(const lmn::LMNDevice& device);

/// The name that the route picker shows; without one the device's own.
std::string orbServiceName(const lmn::LMNDevice& device);

std::optional<std::int64_t> orbDeviceIndex(const lmn::LMNDevice& device);

std::optional<std::string> defaultSymbolName(const lmn::LMNDevice& device);

/// nullopt removes it.
void setDefaultSymbolName(lmn::LMNDevice& device, const std::optional<std::string>& name);

/// Whether the device stands for an AirPlay output of ours: by its UID, or by its MAC address.
bool isORBDevice(const lmn::LMNDevice& device);

bool isAirPlayOrGroup(const lmn::LMNDevice& device);

/// Of an output found as plain AirPlay, the setting `legacyGroupedAirPlay` decides (false while there is no
/// `ORBManager::shared()`); of any other, whether its TXT record has a group.
bool supportsGroupedAirPlay(const lmn::LMNDevice& device);

} // namespace orb
