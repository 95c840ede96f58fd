// SPDX-License-Identifier: MIT
#include "tests/platform/avfoundation/World.h"

#include <gtest/gtest.h>

namespace avfoundation {
namespace {

using namespace std::chrono_literals;

class OutputContextTest : public testing::Test, public World {
  public:
    std::shared_ptr<AVOutputDevice> deviceWith(const std::map<std::string, std::string>& txt) {
        airplay::ReceiverEntry entry;
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
    onMain([&] {
        context->route().connect(first);
        context->route().connect(second);
        second->setVolume(0.25F);
        second->setVolume(0.75F);
    });
    EXPECT_EQ(*told, (std::vector<const void*>{context.get()}));
    EXPECT_EQ(context->volume(), 1.0F);
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
}

TEST_F(OutputContextTest, theAssociatedAudioDeviceComesAQuarterSecondAfterTheFirstAndGoesWithTheLast) {
    onMain([&] {
        context = std::make_unique<AVOutputContext>(system, center,
                                                    AVOutputContextOptions{.associatesAudioDevice = true});
    });
    airplay::Route& route = context->route();
    const auto first = makeReceiver("A", recording);
    const auto second = makeReceiver("B", recording);
    onMain([&] { route.connect(first); });
    realm.advanceBy(200ms);
    onMain([&] {
        route.disconnect(first);
        route.connect(second);
    });
    realm.advanceBy(250ms - 1ns);
    EXPECT_EQ(context->associatedAudioDeviceID(), std::nullopt) << "the time begins anew";
    realm.advanceBy(1ns);
    EXPECT_EQ(context->associatedAudioDeviceID(), "AirPlay::G");
    onMain([&] {
        route.connect(first);
        route.disconnect(second);
    });
    EXPECT_EQ(context->associatedAudioDeviceID(), "AirPlay::G") << "one is left";
    onMain([&] { route.disconnect(first); });
    EXPECT_EQ(context->associatedAudioDeviceID(), std::nullopt);
}

} // namespace
} // namespace avfoundation
