// SPDX-License-Identifier: MIT
#include "ORBRouteService/ipc/ORBDeviceConnectionError.h"

#include "platform/foundation/SharedInstance.h"
#include "tests/ORBRouteService/devices/DevicesFixture.h"
#include "tests/platform/foundation/coding/decodingFailure.h"

#include <fmt/format.h>

#include <array>
#include <set>
#include <vector>

namespace orb {
namespace {

using Case = ORBDeviceConnectionError::Case;
using foundation::Data;

using Devices = std::vector<LMNDeviceCodable>;

const LMNDeviceCodable kitchen{Data{"b"}, "Kitchen"};
const Devices none;
const Devices one{kitchen};
const Devices two{kitchen, {Data{"c"}, "Bath"}};

/// By the number of devices.
const std::array<std::string, 3> fieldsForms{
    "{}", R"({"device":{"data":"Yg==","name":"Kitchen"}})",
    R"({"expected":{"data":"Yg==","name":"Kitchen"},"got":{"data":"Yw==","name":"Bath"}})"};

const std::string failed = "Failed to connect";
const std::string failedTo = "Failed to connect to “Kitchen”";
const std::string timedOut = "Connection timed out";
const std::string timedOutFor = "Connection timed out for “Kitchen”";
const std::string needsPassword = "A password is required to connect to “Kitchen”";

/// Everything about one case, as the parent knows it.
struct Known {
    Case errorCase;
    std::string name;
    int code;
    std::string text;
    Devices devices;
};

const std::vector<Known> knownCases{
    {Case::alreadyConnecting, "alreadyConnecting", 1, failed, none},
    {Case::timedOutWaitingForPicker, "timedOutWaitingForPicker", 2, timedOut, none},
    {Case::timeoutWaitingForDevice, "timeoutWaitingForDevice", 3, timedOutFor, one},
    {Case::timedOutWaitingForDeviceCheckbox, "timedOutWaitingForDeviceCheckbox", 4, timedOutFor, one},
    {Case::expectedDeviceMismatch, "expectedDeviceMismatch", 5, failedTo, two},
    {Case::connectionRejectectedMessage, "connectionRejectectedMessage", 6, failed, none},
    {Case::userCancelledConnection, "userCancelledConnection", 7, failed, none},
    {Case::alertMessagePresented, "alertMessagePresented", 8, failed, none},
    {Case::sliderNotFound, "sliderNotFound", 9, failed, none},
    {Case::deviceNotFoundInContext, "deviceNotFoundInContext", 10, failedTo, one},
    {Case::deviceWithMatchingFeaturesNotFoundInContext, "deviceWithMatchingFeaturesNotFoundInContext", 11,
     failedTo, one},
    {Case::groupableDeviceNotFoundInContext, "groupableDeviceNotFoundInContext", 12, failedTo, one},
    {Case::noParentGroupObtained, "noParentGroupObtained", 13, failed, none},
    {Case::expectedDeviceNotFound, "expectedDeviceNotFound", 14, failedTo, one},
    {Case::noPickerWindow, "noPickerWindow", 15, failed, none},
    {Case::deviceNotConnected, "deviceNotConnected", 16, failedTo, one},
    {Case::passwordRequired, "passwordRequired", 17, needsPassword, one},
    {Case::incompleteTXTRecord, "incompleteTXTRecord", 18, failedTo, one},
};

TEST(ORBDeviceConnectionErrorTest, eachCaseHasItsCodeTextAndForm) {
    std::set<Case> seen;
    for (const Known& known : knownCases) {
        SCOPED_TRACE(known.name);
        const ORBDeviceConnectionError error(known.errorCase, known.devices);
        seen.insert(error.errorCase());
        EXPECT_EQ(error.errorCode(), known.code);
        EXPECT_EQ(error.errorDescription(), known.text);
        EXPECT_EQ(error.errorUserInfo(), (foundation::ErrorUserInfo{{"NSLocalizedDescription", known.text}}));
        const std::string form =
            fmt::format(R"({{"{}":{}}})", known.name, fieldsForms.at(known.devices.size()));
        EXPECT_EQ(foundation::encodeJSON(error), form);
        EXPECT_EQ(foundation::decodeJSON<ORBDeviceConnectionError>(form), error);
    }
    EXPECT_EQ(seen.size(), 18U);
}

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
