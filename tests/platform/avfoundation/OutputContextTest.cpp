// SPDX-License-Identifier: MIT
#include "tests/platform/avfoundation/World.h"

#include <gtest/gtest.h>

#include <tuple>

namespace avfoundation {
namespace {

class OutputContextTest : public testing::Test, public World {
  public:
    std::shared_ptr<AVOutputDevice> deviceWith(const std::map<std::string, std::string>& txt) {
        airplay::ReceiverEntry entry;
        entry.description.name = "Kitchen";
        entry.description.identifier = "A1:B2:C3:D4:E5:F6";
        entry.description.txt = txt;
        return std::make_shared<AVOutputDevice>(makeReceiver(entry));
    }

    /// The contexts about which a notification is posted, from now on.
    std::shared_ptr<std::vector<const void*>> contextsTold(const char* notificationName) {
        auto told = std::make_shared<std::vector<const void*>>();
        subscriptions.push_back(center.observe(
            notificationName, nullptr, nullptr,
            [told](const foundation::Notification& posted) { told->push_back(posted.object); }));
        return told;
    }

    std::vector<foundation::Subscription> subscriptions;
};

TEST_F(OutputContextTest, changesOfOneTurnAreToldOnceToTheObserversOfThatContextOnly) {
    const auto told = contextsTold(AVOutputContextOutputDevicesDidChangeNotification);
    airplay::Recording second;
    const auto receiver = makeReceiver("A", recording);
    onMain([&] {
        context->route().connect(receiver);
        context->route().connect(makeReceiver("B", second));
        EXPECT_EQ(context->outputDevices().size(), 2U);
        EXPECT_TRUE(told->empty());
    });
    EXPECT_EQ(*told, (std::vector<const void*>{context.get()}));
    const auto kept = context->outputDevices()[1];
    onMain([&] { context->route().disconnect(receiver); });
    EXPECT_EQ(told->size(), 2U);
    ASSERT_EQ(context->outputDevices().size(), 1U);
    EXPECT_EQ(context->outputDevices()[0], kept);
}

TEST_F(OutputContextTest, theFirstDeviceSpeaksForAllAndVolumesAreSetForAllAndToldOnceATurn) {
    const auto first = makeReceiver("A", recording);
    const auto second = makeReceiver("B", recording);
    const auto told = contextsTold(AVOutputContextVolumeDidChangeNotification);
    const auto facts = [this] {
        return std::tuple(context->deviceName(), context->outputDeviceFeatures(), context->canSetVolume(),
                          context->volume());
    };
    context->setVolume(0.5F);
    EXPECT_EQ(facts(), std::tuple(std::nullopt, 0U, false, 0.0F));
    onMain([&] {
        context->route().connect(first);
        context->route().connect(second);
        second->setVolume(0.25F);
        second->setVolume(0.75F);
    });
    EXPECT_EQ(*told, (std::vector<const void*>{context.get()}));
    EXPECT_EQ(facts(), std::tuple("A", 0x1C340445F8A00U, true, 1.0F));
    onMain([&] { context->setVolume(0.5F); });
    EXPECT_EQ(told->size(), 2U);
    EXPECT_EQ(first->volume(), 0.5F);
    EXPECT_EQ(second->volume(), 0.5F);
    onMain([&] { context->route().disconnect(first); });
    onMain([&] { first->setVolume(0.1F); });
    EXPECT_EQ(told->size(), 2U) << "it is not ours any more";
    onMain([&] { second->setVolume(0.2F); });
    EXPECT_EQ(told->size(), 3U);
    EXPECT_EQ(context->volume(), 0.2F);
}

TEST_F(OutputContextTest, whatIsSetChangesWhatThisObjectSaysAndNothingElse) {
    const auto device = deviceWith({{"model", "M"}});
    const AVOutputDevice other(device->receiver());
    airplay::ReceiverEntry renamed =
        *std::static_pointer_cast<airplay::EmbeddedReceiver>(device->receiver())->entry();
    renamed.description.name = "Bath";
    onMain([&] { std::static_pointer_cast<airplay::EmbeddedReceiver>(device->receiver())->update(renamed); });
    EXPECT_EQ(device->description(), "<AVOutputDevice: Bath (A1:B2:C3:D4:E5:F6)>") << "as it is now";
    const std::string ID = device->ID();
    device->setName("name");
    device->setLogicalDeviceID("logical");
    device->setIdentifyingMACAddress("address");
    device->setAirPlayProperties({{"key", {"bytes"}}});
    device->setModelID("model");
    device->setID("id");
    device->setManufacturer("manufacturer");
    device->setSupportsBufferedAirPlay(true);
    device->setVolume(0.5F);
    const auto facts = [](const AVOutputDevice& of) {
        return std::vector{of.name(),
                           of.logicalDeviceID(),
                           of.identifyingMACAddress(),
                           of.airPlayProperties().begin()->first,
                           of.modelID(),
                           of.ID(),
                           of.manufacturer(),
                           std::string(of.supportsBufferedAirPlay() ? "buffered" : "")};
    };
    EXPECT_EQ(facts(*device), (std::vector<std::string>{"name", "logical", "address", "key", "model", "id",
                                                        "manufacturer", "buffered"}));
    EXPECT_EQ(facts(other), (std::vector<std::string>{"Bath", ID, ID, AirPlayTXTRecord, "M", ID, "", ""}));
    EXPECT_EQ(other.volume(), 0.5F) << "the receiver's own";
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
