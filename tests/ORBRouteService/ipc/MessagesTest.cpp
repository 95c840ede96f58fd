// SPDX-License-Identifier: MIT
#include "ORBRouteService/ipc/IPCCancellationError.h"
#include "ORBRouteService/ipc/IPCError.h"
#include "ORBRouteService/ipc/IPCMessage.h"
#include "ORBRouteService/ipc/ORBAppToServiceMessage.h"
#include "ORBRouteService/ipc/ORBDeviceConnectionError.h"
#include "ORBRouteService/ipc/ORBServiceToAppMessage.h"
#include "ORBRouteService/ipc/ORBUpdateDevicesReply.h"

#include "tests/platform/foundation/coding/decodingFailure.h"

#include <gtest/gtest.h>

#include <vector>

namespace orb {
namespace {

using foundation::Data;
using foundation::decodeJSON;
using foundation::decodingFailure;
using foundation::encodeJSON;

const foundation::UUID uuid = foundation::UUID::fromString("3F2504E0-4F89-41D3-9A0C-0305E82C3301").value();
const LMNDeviceCodable kitchen{Data{std::string(1, '\0')}, "Kitchen"};
const LMNDeviceCodable unnamed{Data{"b"}, {}};

template <typename T>
void expectForm(const T& value, const std::string& text) {
    EXPECT_EQ(encodeJSON(value), text);
    EXPECT_EQ(decodeJSON<T>(text), value);
}

TEST(MessagesTest, everyMessageHasItsForm) {
    expectForm<ORBAppToServiceMessage>(
        UpdateDevices{{unnamed, kitchen}},
        R"({"updateDevices":{"devices":[{"data":"AA==","name":"Kitchen"},{"data":"Yg=="}]}})");
    expectForm<ORBServiceToAppMessage>(DeviceConnected{unnamed},
                                       R"({"deviceConnected":{"device":{"data":"Yg=="}}})");
    expectForm<ORBServiceToAppMessage>(
        DeviceWasDisconnected{kitchen},
        R"({"deviceWasDisconnected":{"device":{"data":"AA==","name":"Kitchen"}}})");
    expectForm<ORBServiceToAppMessage>(DeviceConnecting{{unnamed}},
                                       R"({"deviceConnecting":{"devices":[{"data":"Yg=="}]}})");
    expectForm<ORBUpdateDevicesReply>({unnamed, kitchen},
                                      R"([{"data":"Yg=="},{"data":"AA==","name":"Kitchen"}])");
    expectForm(IPCError("no “x”", uuid),
               R"({"error":"no “x”","uuid":"3F2504E0-4F89-41D3-9A0C-0305E82C3301"})");
    expectForm(IPCCancellationError(), "{}");
}

TEST(MessagesTest, anEnvelopeHoldsTheCodedMessageAndTakesAnIdentifier) {
    IPCMessage message = IPCMessage::wrapping(ORBAppToServiceMessage(UpdateDevices{}));
    EXPECT_EQ(message.payload(), Data{R"({"updateDevices":{"devices":[]}})"});
    EXPECT_NE(message.uuid(), IPCMessage::wrapping(IPCCancellationError()).uuid());
    EXPECT_NE(IPCError("").uuid(), IPCError("").uuid());
    message.setUUID(uuid);
    expectForm(message, R"({"payload":"eyJ1cGRhdGVEZXZpY2VzIjp7ImRldmljZXMiOltdfX0=",)"
                        R"("uuid":"3F2504E0-4F89-41D3-9A0C-0305E82C3301"})");
    EXPECT_EQ(decodeJSON<IPCMessage>(R"({"version":[2],"uuid":"3f2504e0-4f89-41d3-9a0c-0305e82c3301",)"
                                     R"("payload":"eyJ1cGRhdGVEZXZpY2VzIjp7ImRldmljZXMiOltdfX0="})"),
              message);
}

TEST(MessagesTest, aBadEnvelopeOrMessageIsRefusedWithItsReason) {
    EXPECT_EQ(decodingFailure<IPCMessage>(R"({"payload":"e30="})"),
              "key not found: No value for the key \"uuid\".");
    EXPECT_EQ(decodingFailure<IPCMessage>(R"({"payload":"","uuid":"3F2504E0"})"),
              "data corrupted at uuid: The text is not a UUID.");
    EXPECT_EQ(decodingFailure<ORBServiceToAppMessage>(
                  R"({"deviceConnected":{"device":{"data":"AA=="}},"deviceConnecting":{"devices":[]}})"),
              "type mismatch: Invalid number of keys found, expected one.");
    EXPECT_EQ(
        decodingFailure<ORBDeviceConnectionError>(R"({"expectedDeviceMismatch":{"expected":{"data":""}}})"),
        "key not found at expectedDeviceMismatch: No value for the key \"got\".");
    EXPECT_EQ(decodingFailure<ORBDeviceConnectionError>(R"({"noPickerWindow":{"device":7}})"), "read");
    EXPECT_EQ(decodingFailure<ORBDeviceConnectionError>(R"({"noPickerWindow":7})"),
              "type mismatch at noPickerWindow: Expected an object, found an integer.");
}

} // namespace
} // namespace orb
