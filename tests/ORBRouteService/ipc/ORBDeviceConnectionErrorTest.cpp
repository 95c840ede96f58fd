// SPDX-License-Identifier: MIT
#include "ORBRouteService/ipc/ORBDeviceConnectionError.h"

#include "platform/foundation/SharedInstance.h"
#include "tests/ORBRouteService/devices/DevicesFixture.h"
#include "tests/platform/foundation/coding/decodingFailure.h"

/// Codes, texts and forms of all cases are held to docs/PROTOCOL.md by ProtocolPageTest.
namespace orb {
namespace {

using Case = ORBDeviceConnectionError::Case;
using foundation::Data;

TEST(ORBDeviceConnectionErrorTest, aCaseNeedsAllItsDevicesAndAFieldlessOneTakesAnyObject) {
    using foundation::decodingFailure;
    EXPECT_EQ(decodingFailure<ORBDeviceConnectionError>(R"({"deviceNotConnected":{}})"),
              "key not found at deviceNotConnected: No value for the key \"device\".");
    EXPECT_EQ(
        decodingFailure<ORBDeviceConnectionError>(R"({"expectedDeviceMismatch":{"expected":{"data":""}}})"),
        "key not found at expectedDeviceMismatch: No value for the key \"got\".");
    EXPECT_EQ(decodingFailure<ORBDeviceConnectionError>(R"({"noPickerWindow":{"device":7}})"), "read");
    EXPECT_EQ(decodingFailure<ORBDeviceConnectionError>(R"({"noPickerWindow":7})"),
              "type mismatch at noPickerWindow: Expected an object, found an integer.");
}

TEST(ORBDeviceConnectionErrorTest, theLogReadsCaseAndDevices) {
    const LMNDeviceCodable kitchen{Data{"b"}, "Kitchen"};
    EXPECT_STREQ(ORBDeviceConnectionError(Case::noPickerWindow).what(), "noPickerWindow");
    EXPECT_STREQ(ORBDeviceConnectionError(Case::passwordRequired, kitchen).what(),
                 "passwordRequired(device: Kitchen)");
    EXPECT_EQ(ORBDeviceConnectionError(Case::expectedDeviceMismatch, {kitchen, {Data{}, {}}}).description(),
              "expectedDeviceMismatch(expected: Kitchen, got: Unknown Device)");
}

class ORBDeviceConnectionErrorNameTest : public DevicesFixture {};

TEST_F(ORBDeviceConnectionErrorNameTest, aDeviceWithoutANameIsLookedUpForPeople) {
    const foundation::SharedInstance shared(manager);
    const LMNDeviceCodable archived{
        Data{manager.archiveFromConfig({.name = "Hall", .deviceUID = "hall"}, false)}, {}};
    EXPECT_EQ(ORBDeviceConnectionError(Case::deviceNotConnected, archived).errorDescription(),
              "Failed to connect to “Hall”");
    EXPECT_EQ(ORBDeviceConnectionError(Case::deviceNotConnected, {Data{}, {}}).errorDescription(),
              "Failed to connect to “Unknown Device”");
}

} // namespace
} // namespace orb
