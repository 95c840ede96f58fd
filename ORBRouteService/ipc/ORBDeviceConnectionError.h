// SPDX-License-Identifier: MIT
#pragma once

#include "ORBRouteService/devices/LMNDeviceCodable.h"

#include "platform/foundation/coding/ErrorUserInfo.h"

#include <exception>
#include <string>
#include <string_view>
#include <vector>

namespace orb {

/// Why a device could not be connected; crosses to the parent as it is, and is shown there. A value, also
/// thrown; any thread.
class ORBDeviceConnectionError final : public std::exception {
  public:
    /// The names are those on the wire, to the letter.
    enum class Case {
        alreadyConnecting,
        timedOutWaitingForPicker,
        timeoutWaitingForDevice,          // device
        timedOutWaitingForDeviceCheckbox, // device
        expectedDeviceMismatch,           // expected, got
        connectionRejectectedMessage,
        userCancelledConnection,
        alertMessagePresented,
        passwordRequired, // device
        sliderNotFound,
        deviceNotFoundInContext,                     // device
        deviceWithMatchingFeaturesNotFoundInContext, // device
        groupableDeviceNotFoundInContext,            // device
        noParentGroupObtained,
        expectedDeviceNotFound, // device
        noPickerWindow,
        deviceNotConnected,  // device
        incompleteTXTRecord, // device
    };

    static constexpr std::string_view errorDomain = "com.fernwick.Orbweaver";

    /// `devices` are the values of the case's fields, as many and in the order as listed above.
    explicit ORBDeviceConnectionError(Case errorCase, std::vector<LMNDeviceCodable> devices = {});
    ORBDeviceConnectionError(Case errorCase, LMNDeviceCodable device);

    Case errorCase() const { return case_; }
    const std::vector<LMNDeviceCodable>& devices() const { return devices_; }

    /// 1 to 18, each case its own.
    int errorCode() const;

    /// For people: "Connection timed out for “Kitchen”". A device without a name is looked up by its archive,
    /// see `LMNDeviceCodable::description`.
    std::string errorDescription() const;

    /// The description under `NSLocalizedDescriptionKey`.
    foundation::ErrorUserInfo errorUserInfo() const;

    /// For the log: "expectedDeviceMismatch(expected: Kitchen, got: Unknown Device)". Unlike above, devices
    /// without a name are not looked up, so that catching an error touches no files.
    const std::string& description() const { return description_; }
    const char* what() const noexcept override { return description_.c_str(); }

    bool operator==(const ORBDeviceConnectionError& other) const {
        return case_ == other.case_ && devices_ == other.devices_;
    }

  private:
    Case case_;
    std::vector<LMNDeviceCodable> devices_;
    std::string description_;
};

} // namespace orb

template <>
struct foundation::Coding<orb::ORBDeviceConnectionError> {
    static boost::json::value encode(const orb::ORBDeviceConnectionError& error);
    static orb::ORBDeviceConnectionError decode(const boost::json::value& coded, const CodingPath& path);
};
