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
};

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
