// SPDX-License-Identifier: MIT
#include "ORBRouteService/devices/AVOutputDeviceAccessors.h"

#include "ORBRouteService/devices/ORBDeviceUID.h"
#include "ORBRouteService/devices/createDevice.h"
#include "ORBRouteService/devices/isUTF8.h"

#include "platform/dispatch/Check.h"
#include "platform/foundation/coding/TXTRecord.h"
#include "platform/lmn/LMNDeviceManager.h"

namespace orb {
namespace {

constexpr const char* txtRecordProperty = "AirPlayTXTRecord";

std::optional<std::string> txtValue(const AVOutputDeviceProtocol& device, const char* key) {
    const std::optional<TxtRecord> record = txtRecord(device);
    if (!record)
        return std::nullopt;
    const auto entry = record->find(key);
    return entry != record->end() ? std::optional(entry->second) : std::nullopt;
}

std::string uidOf(const AVOutputDeviceProtocol& device) {
    return ORBDeviceUID(txtRecord(device).value_or(TxtRecord()), device.ID());
}

} // namespace

std::optional<std::map<std::string, foundation::Data>> txtRecordData(const AVOutputDeviceProtocol& device) {
    const AVOutputDeviceProtocol::Properties properties = device.airPlayProperties();
    const auto record = properties.find(txtRecordProperty);
    if (record == properties.end())
        return std::nullopt;
    return foundation::dictionaryFromTXTRecordData(record->second.bytes);
}

std::optional<TxtRecord> txtRecord(const AVOutputDeviceProtocol& device) {
    const auto data = txtRecordData(device);
    if (!data)
        return std::nullopt;
    TxtRecord record;
    for (const auto& [key, value] : *data)
        if (isUTF8(value.bytes))
            record.emplace(key, value.bytes);
    return record;
}

std::string fwMACAddress(const AVOutputDeviceProtocol& device) {
    const std::optional<std::string> address = txtValue(device, "deviceid");
    return ORBCompatibleMacAddressString(address ? *address : device.ID());
}

std::string fwBTAddress(const AVOutputDeviceProtocol& device) {
    return txtValue(device, "btaddr").value_or("");
}

std::string fwPK(const AVOutputDeviceProtocol& device) { return txtValue(device, "pk").value_or(""); }

std::optional<std::string> fwTSID(const AVOutputDeviceProtocol& device) { return txtValue(device, "tsid"); }

std::shared_ptr<lmn::LMNDevice> lmnDevice(const AVOutputDeviceProtocol& device) {
    lmn::LMNDeviceManager* manager = lmn::LMNDeviceManager::sharedDeviceManager();
    ORB_CHECK(manager != nullptr, "no device manager for {}", device.description());
    const std::string uid = uidOf(device);
    manager->allowHiddenDevice(uid);
    auto found = manager->deviceWithDeviceUID(uid, false);
    return found ? found : createDevice(*manager, device.name(), uid, false);
}

bool matches(const AVOutputDeviceProtocol& outputDevice, const lmn::LMNDevice& device) {
    if (ORBDeviceUID(orbTxtRecord(device).value_or(TxtRecord()), outputDevice.ID()) == uidOf(outputDevice))
        return true;
    const std::optional<std::string> address = orbMacAddress(device);
    return address && *address == fwMACAddress(outputDevice);
}

} // namespace orb
