// SPDX-License-Identifier: MIT
#include "ORBRouteService/bridges/AVOutputContextBridge.h"
#include "ORBRouteService/devices/AVOutputContextAccessors.h"
#include "ORBRouteService/devices/AVOutputDeviceAccessors.h"

#include "platform/foundation/coding/TXTRecord.h"
#include "platform/lmn/LMNDevice.h"
#include "tests/ORBRouteService/bridges/OutputsFixture.h"

#include <boost/json/parse.hpp>

#include <tuple>
#include <vector>

namespace orb {
namespace {

const std::string mac = "a1b2c3d4e5f6";
const std::string fullMac = "A1:B2:C3:D4:E5:F6";
const std::string prefix = "com.fernwick.Orbweaver::";

class AVOutputAccessorsTest : public OutputsFixture {
  protected:
    AVOutputDeviceBridge device(const std::string& ID, const Txt& txt = {}) {
        return AVOutputDeviceBridge(
            std::make_shared<avfoundation::AVOutputDevice>(receiver("Kitchen", ID, txt)));
    }
};

TEST_F(AVOutputAccessorsTest, theVirtualDeviceIsFoundThoughHiddenElseMadeAndOneForAGroup) {
    const auto hidden = make({.name = "Hidden", .deviceUID = prefix + "11:22", .hidden = true});
    EXPECT_EQ(lmnDevice(device(mac, {{"deviceid", "1122"}})), hidden);
    const auto made = lmnDevice(device(mac));
    EXPECT_EQ(made->deviceUID(), prefix + mac) << "the identifier as it stands";
    EXPECT_EQ(made->name(), "Kitchen");
    EXPECT_EQ(lmnDevice(device(mac)), made);
    const auto group = lmnDevice(device("1", {{"gid", "g"}, {"tsid", "t"}}));
    EXPECT_EQ(group, lmnDevice(device("2", {{"gid", "g"}, {"tsid", "t"}, {"deviceid", "2"}})));
}

TEST_F(AVOutputAccessorsTest, anOutputMatchesByTheUIDOfItsRecordOrByItsAddress) {
    struct Match {
        std::string storedRecord;
        std::optional<std::string> storedAddress;
        Txt txt;
        bool matches;
    };
    const Txt grouped{{"gid", "g"}, {"tsid", "t"}, {"deviceid", mac}};
    const std::string otherGroup = R"({"gid":"g","tsid":"u"})";
    for (const Match& match : std::vector<Match>{
             {R"({"pk":"x"})", {}, {}, true}, // neither has anything
             {"null", {}, {{"deviceid", "11"}}, false},
             {R"({"deviceid":"1122"})", {}, {{"deviceid", "11:22"}}, true},
             {R"({"deviceid":"1122"})", {}, {{"deviceid", "1123"}}, false},
             {R"({"gid":"h","tsid":"t","deviceid":"99"})", {}, grouped, true}, // same group, other address
             {R"({"gid":"g","tsid":"u","deviceid":"99"})", {}, grouped, false},
             {otherGroup, fullMac, grouped, true}, // its address is the one stored
             {otherGroup, "a1:b2:c3:d4:e5:f6", grouped, false},
         }) {
        const auto virtualDevice = make({.name = "Other", .deviceUID = "v"});
        virtualDevice->setOverride(boost::json::parse(match.storedRecord), ORBTxtRecordOverrideKey);
        if (match.storedAddress)
            virtualDevice->setOverride(boost::json::value(*match.storedAddress), ORBMacAddressOverrideKey);
        EXPECT_EQ(matches(device(mac, match.txt), *virtualDevice), match.matches) << match.storedRecord;
    }
}

TEST_F(AVOutputAccessorsTest, aContextIsSearchedInOrderAndByNameOnlyWhereAsked) {
    const auto virtualDevice = make({.name = "Kitchen", .deviceUID = "v"});
    virtualDevice->setOverride(boost::json::parse(R"({"deviceid":"22"})"), ORBTxtRecordOverrideKey);
    onMain([&] {
        const auto context = contexts->outputContext();
        const AVOutputContextBridge bridge(context);
        EXPECT_EQ(deviceMatchForORBDevice(bridge, *virtualDevice), nullptr);
        context->route().connect(receiver("Kitchen", "1", {{"deviceid", "11"}}));
        EXPECT_EQ(AVOutputDeviceForORBDevice(bridge, *virtualDevice), nullptr);
        EXPECT_EQ(deviceMatchForORBDevice(bridge, *virtualDevice), bridge.outputDevices().at(0));
        context->route().connect(receiver("Bath", "2", {{"deviceid", "22"}}));
        context->route().connect(receiver("Hall", "3", {{"deviceid", "22"}}));
        EXPECT_EQ(AVOutputDeviceForORBDevice(bridge, *virtualDevice), bridge.outputDevices().at(1));
        EXPECT_EQ(deviceMatchForORBDevice(bridge, *virtualDevice), bridge.outputDevices().at(1));
        context->route().disconnectAll();
        context->route().connect(receiver("Küche", "4", {{"deviceid", "11"}}));
        virtualDevice->setOverride("Küche", ORBServiceName);
        EXPECT_NE(deviceMatchForORBDevice(bridge, *virtualDevice), nullptr) << "by the picker's name";
    });
}

} // namespace
} // namespace orb
