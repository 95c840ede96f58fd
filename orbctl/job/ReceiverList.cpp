// SPDX-License-Identifier: MIT
#include "orbctl/job/ReceiverList.h"

#include "orbctl/job/UsageError.h"

#include "ORBRouteService/devices/ORBDeviceUID.h"
#include "ORBRouteService/devices/isUTF8.h"

#include "platform/airplay/embedded/ReceiversFile.h"
#include "platform/foundation/coding/Coding.h"
#include "platform/lmn/LMNDeviceManager.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace orbctl {
namespace {

constexpr const char* serviceType = "_airplay._tcp.";

/// An override holds texts; other values of a record are left out.
orb::TxtRecord textsOf(const orb::TxtRecord& record) {
    orb::TxtRecord texts = record;
    std::erase_if(texts, [](const auto& entry) { return !orb::isUTF8(entry.second); });
    return texts;
}

std::string macAddressOf(const Target& target) {
    const auto deviceID = target.txt.find("deviceid");
    return orb::ORBCompatibleMacAddressString(deviceID != target.txt.end() ? deviceID->second
                                                                           : target.identifier);
}

Target targetOf(const airplay::ReceiverEntry& entry) {
    const airplay::ReceiverDescription& description = entry.description;
    Target target{.name = description.row.value_or(description.name),
                  .rooms = {{description.name, entry.file}},
                  .identifier = description.identifier,
                  .txt = textsOf(description.txt),
                  .knob = entry.volume};
    if (const auto gid = description.txt.find("gid"); gid != description.txt.end()) {
        target.group = gid->second;
    }
    if (entry.behaviour.wanted) {
        target.asksFor = entry.behaviour.wanted->kind;
    }
    return target;
}

} // namespace

std::string Target::deviceUID() const { return orb::ORBDeviceUID(txt, identifier); }

std::shared_ptr<lmn::LMNDevice> Target::makeDevice(lmn::LMNDeviceManager& manager) const {
    const lmn::LMNVirtualDeviceConfig config{
        .name = name, .deviceUID = deviceUID(), .hidden = true, .isAirPlay = true};
    auto device = manager.deviceFromArchive(manager.archiveFromConfig(config, false));
    if (!device) {
        throw std::runtime_error(fmt::format("there can be no virtual device for {}", name));
    }
    device->setOverride(boost::json::value(name), orb::ORBServiceName);
    device->setOverride(boost::json::value(macAddressOf(*this)), orb::ORBMacAddressOverrideKey);
    device->setOverride(boost::json::value(serviceType), orb::ORBServiceTypeOverrideKey);
    device->setOverride(foundation::Coding<orb::TxtRecord>::encode(txt), orb::ORBTxtRecordOverrideKey);
    return device;
}

std::shared_ptr<lmn::LMNDevice> Target::findDevice(lmn::LMNDeviceManager& manager) const {
    const std::string uid = deviceUID();
    manager.allowHiddenDevice(uid);
    return manager.deviceWithDeviceUID(uid, false);
}

/// Grouped as the route picker groups: receivers with a row of their own are in no group.
ReceiverList::ReceiverList(const std::filesystem::path& file) : file_(std::filesystem::absolute(file)) {
    for (const airplay::ReceiverEntry& entry : airplay::ReceiversFile::read(file_)) {
        const Target target = targetOf(entry);
        const auto leader = std::ranges::find_if(targets_, [&](const Target& other) {
            return entry.description.row ? other.name == target.name
                                         : target.group && other.group == target.group;
        });
        if (leader == targets_.end()) {
            targets_.push_back(target);
        } else {
            leader->rooms.push_back(target.rooms.front());
        }
    }
}

const Target& ReceiverList::find(std::string_view name) const {
    const auto isIt = [name](const Target& target) {
        return target.name == name || target.identifier == name ||
               std::ranges::find(target.rooms, name, &Room::name) != target.rooms.end();
    };
    const auto found = std::ranges::find_if(targets_, isIt);
    if (found == targets_.end()) {
        std::vector<std::string> names;
        std::ranges::transform(targets_, std::back_inserter(names), &Target::name);
        throw UsageError(fmt::format("no receiver is called \"{}\"; is it one of: {}? ({})", name,
                                     fmt::join(names, ", "), file_.string()));
    }
    return *found;
}

} // namespace orbctl
