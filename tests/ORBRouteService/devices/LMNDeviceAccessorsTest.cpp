// SPDX-License-Identifier: MIT
#include "ORBRouteService/devices/LMNDeviceAccessors.h"

#include "platform/foundation/SharedInstance.h"
#include "platform/lmn/LMNDevice.h"
#include "tests/ORBRouteService/audio/settings/SettingsProcess.h"
#include "tests/ORBRouteService/devices/DevicesFixture.h"

#include <boost/json/parse.hpp>

#include <vector>

namespace orb {
namespace {

class LMNDeviceAccessorsTest : public DevicesFixture {
  protected:
    const std::shared_ptr<lmn::LMNDevice> device = make({.name = "Kitchen", .deviceUID = "plain"});
};

TEST_F(LMNDeviceAccessorsTest, factsAreReadFromTheOverridesAsTheyAreNow) {
    EXPECT_EQ(orbServiceName(*device), "Kitchen");
    device->setOverride("a1:b2", "ORBDeviceID");
    device->setOverride(boost::json::parse(R"({"gid":"1","":""})"), "ORBTxtRecord");
    device->setOverride("_airplay._tcp.", "ORBServiceType");
    device->setOverride("Küche", "ORBServiceName");
    device->setOverride(-7, "ORBDeviceIndex");
    setDefaultSymbolName(*device, "speaker");
    EXPECT_EQ(orbMacAddress(*device), "a1:b2");
    EXPECT_EQ(orbTxtRecord(*device), (TxtRecord{{"", ""}, {"gid", "1"}}));
    EXPECT_EQ(orbServiceType(*device), "_airplay._tcp.");
    EXPECT_EQ(orbServiceName(*device), "Küche");
    EXPECT_EQ(orbDeviceIndex(*device), -7);
    EXPECT_EQ(defaultSymbolName(*device), "speaker");
    EXPECT_EQ(device->overrideForKey("ORBDefaultSymbolName"), boost::json::value("speaker"));
    setDefaultSymbolName(*device, std::nullopt);
    EXPECT_EQ(device->overrideForKey("ORBDefaultSymbolName"), std::nullopt);
}

TEST_F(LMNDeviceAccessorsTest, aValueOfAnotherTypeIsAbsent) {
    const auto set = [&](const char* value) {
        for (const char* key : {"ORBDeviceID", "ORBTxtRecord", "ORBServiceType", "ORBServiceName",
                                "ORBDeviceIndex", "ORBDefaultSymbolName"})
            device->setOverride(boost::json::parse(value), key);
    };
    for (const char* value : {"null", "[]", "true", "1.5", R"({"gid":"g","tsid":1})"}) {
        set(value);
        EXPECT_EQ(orbMacAddress(*device), std::nullopt) << value;
        EXPECT_EQ(orbTxtRecord(*device), std::nullopt) << value;
        EXPECT_EQ(orbServiceType(*device), std::nullopt) << value;
        EXPECT_EQ(orbServiceName(*device), "Kitchen") << value;
        EXPECT_EQ(orbDeviceIndex(*device), std::nullopt) << value;
        EXPECT_EQ(defaultSymbolName(*device), std::nullopt) << value;
        EXPECT_FALSE(isORBDevice(*device)) << value;
        EXPECT_FALSE(supportsGroupedAirPlay(*device)) << value;
    }
    set(R"("7")");
    EXPECT_EQ(orbDeviceIndex(*device), std::nullopt);
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
    struct Judgement {
        const char* serviceType;
        const char* txtRecord;
        bool withoutSetting, withSetting;
    };
    SettingsProcess process(realm, root.path(), [](const std::string&) {});
    process.makeManager();
    const auto judge = [&](const Judgement& wanted) {
        device->setOverride(boost::json::parse(wanted.serviceType), "ORBServiceType");
        device->setOverride(boost::json::parse(wanted.txtRecord), "ORBTxtRecord");
        EXPECT_EQ(supportsGroupedAirPlay(*device), wanted.withoutSetting) << "no manager";
        const foundation::SharedInstance shared(*process.manager);
        process.manager->setLegacyGroupedAirPlay(false);
        EXPECT_EQ(supportsGroupedAirPlay(*device), wanted.withoutSetting);
        process.manager->setLegacyGroupedAirPlay(true);
        EXPECT_EQ(supportsGroupedAirPlay(*device), wanted.withSetting);
    };
    for (const Judgement& wanted : std::vector<Judgement>{
             {R"("_raop._tcp.")", R"({"gid":"1"})", false, true},
             {R"("_raop._tcp.")", "{}", false, true},
             {R"("_raop._tcp")", "{}", false, false},
             {R"("_raop._tcp")", R"({"gid":""})", true, true},
             {"null", R"({"gid":"1"})", true, true},
             {"null", R"({"GID":"1"})", false, false},
             {"null", R"({"gid":"1","x":1})", false, false},
         }) {
        SCOPED_TRACE(std::string(wanted.serviceType) + " " + wanted.txtRecord);
        judge(wanted);
    }
}

} // namespace
} // namespace orb
