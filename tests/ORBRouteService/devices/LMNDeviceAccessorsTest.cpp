// SPDX-License-Identifier: MIT
#include "ORBRouteService/devices/LMNDeviceAccessors.h"

#include "platform/foundation/SharedInstance.h"
#include "platform/lmn/LMNDevice.h"
#include "tests/ORBRouteService/audio/settings/SettingsProcess.h"
#include "tests/ORBRouteService/devices/DevicesFixture.h"

#include <boost/json/parse.hpp>

#include <tuple>

namespace orb {
namespace {

class LMNDeviceAccessorsTest : public DevicesFixture {
  protected:
    const std::shared_ptr<lmn::LMNDevice> device = make({.name = "Kitchen", .deviceUID = "plain"});
};

TEST_F(LMNDeviceAccessorsTest, aValueOfAnotherTypeIsAbsent) {
    for (const char* value : {"null", "[]", "1.5", R"({"gid":"g","tsid":1})"}) {
        SCOPED_TRACE(value);
        for (const char* key : {"ORBDeviceID", "ORBTxtRecord", "ORBServiceType", "ORBServiceName",
                                "ORBDeviceIndex", "ORBDefaultSymbolName"})
            device->setOverride(boost::json::parse(value), key);
        EXPECT_FALSE(orbMacAddress(*device) || orbTxtRecord(*device) || orbServiceType(*device) ||
                     orbDeviceIndex(*device) || defaultSymbolName(*device));
        EXPECT_EQ(orbServiceName(*device), "Kitchen");
        EXPECT_FALSE(isORBDevice(*device) || supportsGroupedAirPlay(*device));
    }
}

TEST_F(LMNDeviceAccessorsTest, ourDevicesAreKnownByTheirUIDOrAddress) {
    const auto ours = make({.name = "", .deviceUID = "com.fernwick.Orbweaver::x"});
    const auto nearlyOurs = make({.name = "", .deviceUID = "com.fernwick.Orbweaver:x"});
    const auto airPlay = make({.name = "", .deviceUID = "other", .isAirPlay = true});
    EXPECT_TRUE(isORBDevice(*ours) && isAirPlayOrGroup(*ours));
    EXPECT_FALSE(isORBDevice(*nearlyOurs) || isAirPlayOrGroup(*nearlyOurs));
    EXPECT_TRUE(!isORBDevice(*airPlay) && isAirPlayOrGroup(*airPlay));
    nearlyOurs->setOverride("", "ORBDeviceID");
    EXPECT_TRUE(isORBDevice(*nearlyOurs) && isAirPlayOrGroup(*nearlyOurs));
}

TEST_F(LMNDeviceAccessorsTest, groupsAreJudgedByTheSettingForPlainAirPlayOnlyElseByTheRecord) {
    SettingsProcess process(realm, root.path(), [](const std::string&) {});
    process.makeManager();
    for (const auto& [serviceType, txtRecord, withoutSetting, withSetting] :
         {std::tuple(R"("_raop._tcp.")", R"({"gid":"1"})", false, true),
          std::tuple(R"("_raop._tcp")", "{}", false, false),
          std::tuple(R"("_raop._tcp")", R"({"gid":""})", true, true),
          std::tuple("null", R"({"gid":"1"})", true, true),
          std::tuple("null", R"({"GID":"1"})", false, false)}) {
        SCOPED_TRACE(std::string(serviceType) + " " + txtRecord);
        device->setOverride(boost::json::parse(serviceType), "ORBServiceType");
        device->setOverride(boost::json::parse(txtRecord), "ORBTxtRecord");
        EXPECT_EQ(supportsGroupedAirPlay(*device), withoutSetting) << "no manager";
        const foundation::SharedInstance shared(*process.manager);
        process.manager->setLegacyGroupedAirPlay(false);
        EXPECT_EQ(supportsGroupedAirPlay(*device), withoutSetting);
        process.manager->setLegacyGroupedAirPlay(true);
        EXPECT_EQ(supportsGroupedAirPlay(*device), withSetting);
    }
}

} // namespace
} // namespace orb
