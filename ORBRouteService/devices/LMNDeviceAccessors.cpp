// SPDX-License-Identifier: MIT
#include "ORBRouteService/devices/LMNDeviceAccessors.h"

#include "ORBRouteService/audio/settings/ORBManager.h"
#include "ORBRouteService/devices/ORBDeviceUID.h"

#include "platform/foundation/coding/Coding.h"
#include "platform/foundation/coding/DecodingError.h"
#include "platform/lmn/LMNDevice.h"

namespace orb {
namespace {

/// The Bonjour service type of plain AirPlay, audio only.
constexpr const char* plainAirPlayServiceType = "_raop._tcp.";

template <foundation::Codable Value>
std::optional<Value> overrideOf(const lmn::LMNDevice& device, const char* key) {
    const std::optional<boost::json::value> stored = device.overrideForKey(key);
    if (!stored)
        return std::nullopt;
    try {
        return foundation::Coding<Value>::decode(*stored, foundation::CodingPath());
    } catch (const foundation::DecodingError&) {
        return std::nullopt; // of another type
    }
}

} // namespace

std::optional<std::string> orbMacAddress(const lmn::LMNDevice& device) {
    return overrideOf<std::string>(device, ORBMacAddressOverrideKey);
}

std::optional<TxtRecord> orbTxtRecord(const lmn::LMNDevice& device) {
    return overrideOf<TxtRecord>(device, ORBTxtRecordOverrideKey);
}

std::optional<std::string> orbServiceType(const lmn::LMNDevice& device) {
    return overrideOf<std::string>(device, ORBServiceTypeOverrideKey);
}

std::string orbServiceName(const lmn::LMNDevice& device) {
    return overrideOf<std::string>(device, ORBServiceName).value_or(device.name());
}

std::optional<std::int64_t> orbDeviceIndex(const lmn::LMNDevice& device) {
    return overrideOf<std::int64_t>(device, ORBDeviceIndex);
}

std::optional<std::string> defaultSymbolName(const lmn::LMNDevice& device) {
    return overrideOf<std::string>(device, ORBDefaultSymbolName);
}

void setDefaultSymbolName(lmn::LMNDevice& device, const std::optional<std::string>& name) {
    device.setOverride(name ? std::optional(foundation::Coding<std::string>::encode(*name)) : std::nullopt,
                       ORBDefaultSymbolName);
}

bool isORBDevice(const lmn::LMNDevice& device) {
    return device.deviceUID().starts_with(ORBDeviceUIDPrefix) || orbMacAddress(device).has_value();
}

bool isAirPlayOrGroup(const lmn::LMNDevice& device) { return isORBDevice(device) || device.isAirPlay(); }

bool supportsGroupedAirPlay(const lmn::LMNDevice& device) {
    if (orbServiceType(device) == plainAirPlayServiceType) {
        const ORBManager* manager = ORBManager::shared();
        return manager != nullptr && manager->legacyGroupedAirPlay();
    }
    const std::optional<TxtRecord> txtRecord = orbTxtRecord(device);
    return txtRecord && txtRecord->contains("gid");
}

} // namespace orb
