// SPDX-License-Identifier: MIT
#include "ORBRouteService/devices/ORBDeviceUID.h"

#include <gtest/gtest.h>

#include <vector>

namespace orb {
namespace {

TEST(ORBDeviceUIDTest, aGroupGoesBeforeTheRecordsAddressAndThatBeforeTheParents) {
    struct Output {
        TxtRecord txtRecord;
        std::optional<std::string> macAddress;
        std::string identifier;
    };
    const std::string mac = "0a1b2c3d4e5f";
    const std::vector<Output> outputs{
        {{}, mac, mac},
        {{}, {}, ""},
        {{{"deviceid", "aa:bb:cc:dd:ee:ff"}}, mac, "AA:BB:CC:DD:EE:FF"},
        {{{"deviceid", ""}}, mac, ""},
        {{{"DeviceID", "aabb"}}, mac, mac},
        {{{"deviceid", "aabb"}, {"tsid", "t"}, {"psgid", "p"}}, mac, "AA:BB"},
        {{{"deviceid", "aabb"}, {"gid", "g"}}, mac, "AA:BB"},
        {{{"deviceid", "aabb"}, {"gid", ""}, {"tsid", "t-1a"}, {"psgid", "p"}}, mac, "t-1a"},
        {{{"deviceid", "aabb"}, {"gid", "g"}, {"psgid", "p-1a"}}, mac, "p-1a"},
        {{{"gid", "g"}, {"tsid", ""}, {"psgid", "p"}}, mac, ""},
    };
    for (const Output& output : outputs)
        EXPECT_EQ(ORBDeviceUID(output.txtRecord, output.macAddress),
                  "com.fernwick.Orbweaver::" + output.identifier);
}

TEST(ORBDeviceUIDTest, anAddressIsCutAfterEverySecondCharacterThatAPersonSees) {
    const std::vector<std::pair<std::string, std::string>> addresses{
        {"a1b2c3d4e5f6", "A1:B2:C3:D4:E5:F6"},
        {"a1:b2:c3:d4:e5:f6", "A1:B2:C3:D4:E5:F6"},
        {"abc", "AB:C"},
        {"", ""},
        {"abcd:", "ABCD:"},
        {"ß1:2", "SS1:2"},
        {"e\u0301fe\u0301f", "E\u0301F:E\u0301F"},
        {"i1ı2", "I1:I2"},
        {"👩‍👩‍👧🇩🇪👍🏽a", "👩‍👩‍👧🇩🇪:👍🏽A"},
        {"a\r\nb", "A\r\n:B"},
        {"\u1112\u1161\u11abab", "\u1112\u1161\u11abA:B"},
        {"ab\xFFz\xC3", "AB:\xFFZ:\xC3"},
    };
    for (const auto& [text, address] : addresses)
        EXPECT_EQ(ORBCompatibleMacAddressString(text), address);
}

} // namespace
} // namespace orb
