// SPDX-License-Identifier: MIT
#include "tests/platform/avfoundation/World.h"

#include <gtest/gtest.h>

namespace avfoundation {
namespace {

class OutputContextTest : public testing::Test, public World {
  public:
    std::shared_ptr<AVOutputDevice> deviceWith(const std::map<std::string, std::string>& txt) {
        airplay::ReceiverEntry entry;
        entry.description = {"Kitchen", "A1:B2:C3:D4:E5:F6", txt};
        return std::make_shared<AVOutputDevice>(
            std::make_shared<airplay::EmbeddedReceiver>(entry, system.report()));
    }
};

TEST_F(OutputContextTest, changesOfOneTurnAreToldOnceToTheObserversOfThatContextOnly) {
    AVOutputContext other(system, center);
    std::vector<const void*> told;
    const auto subscription = center.observe(
        AVOutputContextOutputDevicesDidChangeNotification, nullptr, nullptr,
        [&](const foundation::Notification& notification) { told.push_back(notification.object); });
    airplay::Recording second;
    const auto receiver = makeReceiver("A", recording);
    onMain([&] {
        context->route().connect(receiver);
        context->route().connect(makeReceiver("B", second));
        EXPECT_EQ(context->outputDevices().size(), 2U);
        EXPECT_TRUE(told.empty());
    });
    EXPECT_EQ(told, (std::vector<const void*>{context.get()}));
    const auto kept = context->outputDevices()[1];
    onMain([&] { context->route().disconnect(receiver); });
    EXPECT_EQ(told.size(), 2U);
    ASSERT_EQ(context->outputDevices().size(), 1U);
    EXPECT_EQ(context->outputDevices()[0], kept);
    EXPECT_NE(context->contextID(), other.contextID());
}

TEST_F(OutputContextTest, theTxtRecordIsCarriedAsDnsServiceDiscoveryDoes) {
    const auto device = deviceWith({{"pk", "x=y"}, {"deviceid", "11:22:33:44:55:66"}, {"flag", ""}});
    const std::string expected =
        "\x1A"
        "deviceid=11:22:33:44:55:66"
        "\x05"
        "flag="
        "\x06"
        "pk=x=y";
    EXPECT_EQ(device->airPlayProperties().at("AirPlayTXTRecord").bytes, expected);
    EXPECT_EQ(device->identifyingMACAddress(), "11:22:33:44:55:66");
    EXPECT_EQ(device->ID(), "A1:B2:C3:D4:E5:F6");
    EXPECT_TRUE(deviceWith({})->airPlayProperties().empty());
    EXPECT_EQ(deviceWith({})->identifyingMACAddress(), "A1:B2:C3:D4:E5:F6");
    EXPECT_EQ(deviceWith({})->logicalDeviceID(), "A1:B2:C3:D4:E5:F6");
    EXPECT_EQ(deviceWith({{"gid", "G"}})->logicalDeviceID(), "G");
}

TEST_F(OutputContextTest, bufferedPlayingIsBit40OfTheFeaturesInEitherForm) {
    for (const auto& [text, expected] : std::map<std::string, bool>{{"0x0,0x100", true},
                                                                    {"0xFFFFFFFF,0xFFFFFEFF", false},
                                                                    {"0x10000000000", true},
                                                                    {"0xFFFFFEFFFFFFFFFF", false},
                                                                    {"0x0,0x100x", false},
                                                                    {"0x0,", false},
                                                                    {"", false}}) {
        EXPECT_EQ(deviceWith({{"features", text}})->supportsBufferedAirPlay(), expected) << text;
    }
    EXPECT_FALSE(deviceWith({})->supportsBufferedAirPlay());
}

} // namespace
} // namespace avfoundation
