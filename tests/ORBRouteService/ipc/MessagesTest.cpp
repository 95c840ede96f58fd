// SPDX-License-Identifier: MIT
#include "ORBRouteService/ipc/IPCCancellationError.h"
#include "ORBRouteService/ipc/IPCError.h"
#include "ORBRouteService/ipc/IPCMessage.h"
#include "ORBRouteService/ipc/ORBAppToServiceMessage.h"
#include "ORBRouteService/ipc/ORBDeviceConnectionError.h"
#include "ORBRouteService/ipc/ORBServiceToAppMessage.h"
#include "ORBRouteService/ipc/ORBUpdateDevicesReply.h"

#include <gtest/gtest.h>

#include <vector>

namespace orb {
namespace {

using foundation::Data;
using foundation::decodeJSON;
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

} // namespace
} // namespace orb
