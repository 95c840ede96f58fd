// SPDX-License-Identifier: MIT
#include "ORBRouteService/ipc/ORBDeviceConnectionError.h"

#include "platform/dispatch/Check.h"
#include "platform/foundation/coding/TaggedUnion.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <span>
#include <utility>

namespace orb {
namespace {

using Case = ORBDeviceConnectionError::Case;

/// The fields of a case; all are devices.
using Fields = std::span<const std::string_view>;
constexpr std::array<std::string_view, 1> oneDevice{"device"};
constexpr std::array<std::string_view, 2> expectedAndGot{"expected", "got"};

/// What people read: the beginning alone, or with the first device, the two parts around which it reads well.
struct Text {
    std::string_view alone;
    std::string_view link;
};
constexpr Text failed{"Failed to connect", " to "};
constexpr Text timedOut{"Connection timed out", " for "};
constexpr Text needsPassword{"A password is required to connect", " to "};

struct CaseRow {
    Case errorCase;
    std::string_view name;
    int code;
    Text text;
    Fields fields;
};

/// In the order of the enumeration.
constexpr std::array rows{
    CaseRow{Case::alreadyConnecting, "alreadyConnecting", 1, failed, {}},
    CaseRow{Case::timedOutWaitingForPicker, "timedOutWaitingForPicker", 2, timedOut, {}},
    CaseRow{Case::timeoutWaitingForDevice, "timeoutWaitingForDevice", 3, timedOut, oneDevice},
    CaseRow{Case::timedOutWaitingForDeviceCheckbox, "timedOutWaitingForDeviceCheckbox", 4, timedOut,
            oneDevice},
    CaseRow{Case::expectedDeviceMismatch, "expectedDeviceMismatch", 5, failed, expectedAndGot},
    CaseRow{Case::connectionRejectectedMessage, "connectionRejectectedMessage", 6, failed, {}},
    CaseRow{Case::userCancelledConnection, "userCancelledConnection", 7, failed, {}},
    CaseRow{Case::alertMessagePresented, "alertMessagePresented", 8, failed, {}},
    CaseRow{Case::passwordRequired, "passwordRequired", 17, needsPassword, oneDevice},
    CaseRow{Case::sliderNotFound, "sliderNotFound", 9, failed, {}},
    CaseRow{Case::deviceNotFoundInContext, "deviceNotFoundInContext", 10, failed, oneDevice},
    CaseRow{Case::deviceWithMatchingFeaturesNotFoundInContext, "deviceWithMatchingFeaturesNotFoundInContext",
            11, failed, oneDevice},
    CaseRow{Case::groupableDeviceNotFoundInContext, "groupableDeviceNotFoundInContext", 12, failed,
            oneDevice},
    CaseRow{Case::noParentGroupObtained, "noParentGroupObtained", 13, failed, {}},
    CaseRow{Case::expectedDeviceNotFound, "expectedDeviceNotFound", 14, failed, oneDevice},
    CaseRow{Case::noPickerWindow, "noPickerWindow", 15, failed, {}},
    CaseRow{Case::deviceNotConnected, "deviceNotConnected", 16, failed, oneDevice},
    CaseRow{Case::incompleteTXTRecord, "incompleteTXTRecord", 18, failed, oneDevice},
};

constexpr std::size_t indexOf(Case errorCase) { return static_cast<std::size_t>(errorCase); }

static_assert([] {
    for (std::size_t i = 0; i < rows.size(); ++i)
        if (indexOf(rows[i].errorCase) != i)
            return false;
    return true;
}());

constexpr auto caseNames = [] {
    std::array<std::string_view, rows.size()> names;
    std::ranges::transform(rows, names.begin(), &CaseRow::name);
    return names;
}();

const CaseRow& rowOf(Case errorCase) { return rows[indexOf(errorCase)]; }

/// "passwordRequired(device: Kitchen)"
std::string logText(const CaseRow& row, const std::vector<LMNDeviceCodable>& devices) {
    std::string fields;
    for (std::size_t i = 0; i < devices.size(); ++i)
        fields += fmt::format("{}{}: {}", i == 0 ? "" : ", ", row.fields[i],
                              devices[i].name.value_or("Unknown Device"));
    return fields.empty() ? std::string(row.name) : fmt::format("{}({})", row.name, fields);
}

} // namespace

ORBDeviceConnectionError::ORBDeviceConnectionError(Case errorCase, std::vector<LMNDeviceCodable> devices)
    : case_(errorCase), devices_(std::move(devices)) {
    const CaseRow& row = rowOf(case_);
    ORB_CHECK(devices_.size() == row.fields.size(), "{} devices for {}", devices_.size(), row.name);
    description_ = logText(row, devices_);
}

ORBDeviceConnectionError::ORBDeviceConnectionError(Case errorCase, LMNDeviceCodable device)
    : ORBDeviceConnectionError(errorCase, std::vector{std::move(device)}) {}

int ORBDeviceConnectionError::errorCode() const { return rowOf(case_).code; }

std::string ORBDeviceConnectionError::errorDescription() const {
    const Text& text = rowOf(case_).text;
    if (devices_.empty())
        return std::string(text.alone);
    return fmt::format("{}{}“{}”", text.alone, text.link, devices_.front().description());
}

foundation::ErrorUserInfo ORBDeviceConnectionError::errorUserInfo() const {
    return {{foundation::NSLocalizedDescriptionKey, errorDescription()}};
}

} // namespace orb

namespace foundation {

boost::json::value Coding<orb::ORBDeviceConnectionError>::encode(const orb::ORBDeviceConnectionError& error) {
    const orb::CaseRow& row = orb::rowOf(error.errorCase());
    boost::json::object fields;
    for (std::size_t i = 0; i < row.fields.size(); ++i)
        fields.emplace(row.fields[i], Coding<orb::LMNDeviceCodable>::encode(error.devices()[i]));
    return encodeTaggedUnion(row.name, std::move(fields));
}

orb::ORBDeviceConnectionError Coding<orb::ORBDeviceConnectionError>::decode(const boost::json::value& coded,
                                                                            const CodingPath& path) {
    return decodeTaggedUnion(coded, path, orb::caseNames, [](std::size_t index, const ObjectReader& fields) {
        const orb::CaseRow& row = orb::rows[index];
        std::vector<orb::LMNDeviceCodable> devices;
        for (const std::string_view field : row.fields)
            devices.push_back(fields.required<orb::LMNDeviceCodable>(field));
        return orb::ORBDeviceConnectionError(row.errorCase, std::move(devices));
    });
}

} // namespace foundation
