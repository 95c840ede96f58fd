// SPDX-License-Identifier: MIT
#include "ORBRouteService/ipc/recordMessage.h"

#include "ORBRouteService/ipc/IPCError.h"
#include "ORBRouteService/ipc/ORBAppToServiceMessage.h"
#include "ORBRouteService/ipc/ORBDeviceConnectionError.h"
#include "ORBRouteService/ipc/ORBServiceToAppMessage.h"
#include "ORBRouteService/ipc/ORBUpdateDevicesReply.h"
#include "ORBRouteService/picker/waiting/OperationTimeout.h"

#include "platform/lmn/LMNDeviceArchive.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace orb {
namespace {

using foundation::JSONDocument;

/// What is kept of a message.
struct Sketch {
    std::string_view name;
    std::string text = {}; // of an error
    std::vector<LMNDeviceCodable> devices = {};
    MessageContent content = MessageContent::anything;
};

std::vector<LMNDeviceCodable> devicesOf(const UpdateDevices& message) {
    return {message.devices.begin(), message.devices.end()};
}
std::vector<LMNDeviceCodable> devicesOf(const DeviceConnecting& message) {
    return {message.devices.begin(), message.devices.end()};
}
std::vector<LMNDeviceCodable> devicesOf(const auto& message) { return {message.device}; }

template <typename... Cases>
Sketch sketchOf(const std::variant<Cases...>& message) {
    return std::visit(
        [](const auto& only) { return Sketch{.name = only.caseName, .devices = devicesOf(only)}; }, message);
}
Sketch sketchOf(const ORBUpdateDevicesReply& reply) { return {.name = "reply", .devices = reply}; }
Sketch sketchOf(const ORBDeviceConnectionError& error) {
    return {.name = "ORBDeviceConnectionError",
            .text = error.description(),
            .devices = error.devices(),
            .content = MessageContent::error};
}
Sketch sketchOf(const IPCError& error) {
    return {.name = "IPCError", .text = error.error(), .content = MessageContent::error};
}
Sketch sketchOf(const OperationTimeout& error) {
    return {.name = "OperationTimeout", .text = error.operation(), .content = MessageContent::error};
}

/// As the first of the types that it can be read as.
template <typename First, typename... Others>
Sketch sketchAs(const JSONDocument& payload) {
    try {
        return sketchOf(payload.as<First>());
    } catch (const foundation::DecodingError&) {
        if constexpr (sizeof...(Others) > 0)
            return sketchAs<Others...>(payload);
        else
            return {.name = "other"};
    }
}

Sketch sketchOf(const foundation::Data& payload) {
    try {
        const JSONDocument document(payload.bytes);
        return sketchAs<ORBAppToServiceMessage, ORBServiceToAppMessage, ORBUpdateDevicesReply,
                        ORBDeviceConnectionError, IPCError, OperationTimeout>(document);
    } catch (const foundation::DecodingError&) {
        return {.name = "unreadable"};
    }
}

/// Only so much of the identifier, which is random, as tells requests apart.
std::uint64_t requestOf(const foundation::UUID& uuid) {
    std::uint64_t request = 0;
    for (std::size_t index = 0; index < sizeof request; ++index)
        request = request << 8 | uuid.bytes()[index];
    return request;
}

std::string uidOf(const LMNDeviceCodable& device) {
    try {
        return lmn::configOfArchive(device.data.bytes).deviceUID;
    } catch (const lmn::LMNDeviceArchiveError&) {
        return "?";
    }
}

} // namespace

MessageContent recordMessage(MessageDirection direction, const IPCMessage& message, bool failed) {
    if (flightRecorder() == nullptr)
        return MessageContent::anything;
    const bool isSent = direction == MessageDirection::sent;
    const Sketch sketch = sketchOf(message.payload());
    const std::uint64_t request = requestOf(message.uuid());
    recordFlight(isSent ? FlightKind::messageSent : FlightKind::messageReceived,
                 {.subject = sketch.name,
                  .text = sketch.text,
                  .request = request,
                  .numbers = {static_cast<double>(message.payload().bytes.size()),
                              static_cast<double>(sketch.devices.size()), failed ? 1.0 : 0.0}});
    for (const LMNDeviceCodable& device : sketch.devices) {
        const std::string uid = uidOf(device);
        const std::string name = device.name.value_or("");
        recordFlight(isSent ? FlightKind::deviceSent : FlightKind::deviceReceived,
                     {.subject = uid, .text = name, .request = request});
    }
    return sketch.content;
}

} // namespace orb
