// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <variant>

namespace lmn {

/// Attributes by which the framework's objects are referred to: process ids, names and switches.
using LMNAttributeValue = std::variant<std::int32_t, bool, std::string>;
using LMNAttributes = std::map<std::string, LMNAttributeValue, std::less<>>;

inline constexpr std::string_view LMNDeviceUIDKey = "LMNDeviceUID";                 // string
inline constexpr std::string_view LMNDeviceInputKey = "LMNDeviceInput";             // bool
inline constexpr std::string_view LMNDeviceOnDemandKey = "LMNDeviceOnDemand";       // bool
inline constexpr std::string_view LMNProcessPIDKey = "LMNProcessPID";               // 32-bit process id
inline constexpr std::string_view LMNProcessHierarchalKey = "LMNProcessHierarchal"; // bool

/// UID of the pseudo-device behind which the framework's own stereo mixdown stands as a process.
inline constexpr std::string_view LMNStereoMixdownDeviceUID = "com.fernwick.lmn.StereoMixdown";

/// The value of type `Value` among `attributes`; nullptr when it is absent or of another type.
template <typename Value>
const Value* attribute(const LMNAttributes& attributes, std::string_view key) {
    const auto found = attributes.find(key);
    return found != attributes.end() ? std::get_if<Value>(&found->second) : nullptr;
}

/// A device, by its attributes.
struct LMNDeviceReference {
    LMNAttributes attributes;

    std::string deviceUID() const {
        const auto* uid = attribute<std::string>(attributes, LMNDeviceUIDKey);
        return uid != nullptr ? *uid : "";
    }
};

/// A process that plays into devices: its id, and the name it gave itself. A pseudo-process of the framework
/// has a device UID instead of an id.
struct LMNProcess {
    std::int32_t pid = 0;
    std::string name;
    std::string deviceUID;

    auto operator<=>(const LMNProcess&) const = default;
};

using LMNProcessSet = std::set<LMNProcess>;

/// One or several processes, by their attributes.
struct LMNProcessReference {
    LMNAttributes attributes;

    /// By process id, or by the device UID of a pseudo-process. A reference without either matches nothing.
    /// Allocates nothing.
    bool matches(const LMNProcess& process) const {
        if (const auto* pid = attribute<std::int32_t>(attributes, LMNProcessPIDKey))
            return *pid == process.pid;
        const auto* uid = attribute<std::string>(attributes, LMNDeviceUIDKey);
        return uid != nullptr && *uid == process.deviceUID;
    }
};

/// Leads a channel of the source to a channel of the capture; both count from 1.
struct LMNChannelMapping {
    std::uint32_t source = 0;
    std::uint32_t destination = 0;
};

} // namespace lmn
