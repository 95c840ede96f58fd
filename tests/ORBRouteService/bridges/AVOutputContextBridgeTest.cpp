// SPDX-License-Identifier: MIT
#include "ORBRouteService/bridges/AVOutputContextClassBridge.h"
#include "tests/ORBRouteService/bridges/OutputsFixture.h"

namespace orb {
namespace {

class AVOutputContextBridgeTest : public OutputsFixture {
  protected:
    AVOutputContextClassBridge bridges{*contexts};
};

TEST_F(AVOutputContextBridgeTest, aContextIsOneObjectHoweverItIsAskedFor) {
    onMain([&] {
        const auto known = bridges.defaultSharedOutputContext();
        EXPECT_EQ(bridges.defaultSharedOutputContext(), known);
        EXPECT_EQ(bridges.outputContextForID(known->ID()), known);
        EXPECT_EQ(AVOutputContextBridge::contextBehind(known), contexts->defaultSharedOutputContext());
        EXPECT_NE(bridges.init(), bridges.init());
        EXPECT_EQ(bridges.outputContextForID("none"), nullptr);
        EXPECT_EQ(AVOutputContextBridge::contextBehind(nullptr), nullptr);
    });
}

TEST_F(AVOutputContextBridgeTest, aDeviceIsOneObjectAsLongAsItStaysAndAnotherWhenItReturns) {
    const auto kitchen = receiver("Kitchen", "1");
    onMain([&] {
        const auto context = bridges.init();
        airplay::Route& route = AVOutputContextBridge::contextBehind(context)->route();
        EXPECT_EQ(context->outputDevice(), nullptr);
        route.connect(kitchen);
        const auto first = context->outputDevices().at(0);
        route.connect(receiver("Bath", "2"));
        EXPECT_EQ(context->outputDevice(), first);
        EXPECT_EQ(context->outputDevices().at(0), first);
        EXPECT_NE(context->outputDevices().at(1), first);
        route.disconnect(kitchen);
        EXPECT_EQ(context->outputDevices().size(), 1U);
        route.connect(kitchen);
        EXPECT_NE(context->outputDevices().at(1), first);
        EXPECT_EQ(context->outputDevices().at(1)->ID(), first->ID());
    });
}

} // namespace
} // namespace orb
