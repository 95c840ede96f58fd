// SPDX-License-Identifier: MIT
#include "tests/ORBRouteService/core/ServiceWorld.h"

#include "platform/foundation/Bundle.h"
#include "platform/foundation/coding/Base64.h"

#include <gmock/gmock.h>

#include <csignal>
#include <fstream>

namespace orb {
namespace {

using testing::ElementsAre;

const std::string kitchen = R"({"name": "Kitchen", "id": "A1:00:00:00:00:01"})";

std::string argumentOf(const std::string& json) { return foundation::base64(foundation::Data{json}); }

TEST(LifecycleTest, aConfigurationThatCannotBeUsedEndsTheProcessWithoutBeingShown) {
    const std::string secret = "do-not-show-this";
    const std::string json =
        R"({"pid":1,"bundle":"file:///P/","device":{"data":"ZG8tbm90LXNob3ctdGhpcw=="},"supportsGroupedAirPlay":)";
    struct Case {
        std::vector<std::string> arguments;
        int status;
        const char* reason;
    };
    for (const Case& wrong :
         {Case{{"service"}, 64, "is missing"},
          Case{{"service", "not Base64 " + secret}, 65, "it is not Base64"},
          Case{{"service", argumentOf("[" + secret)}, 65, "cannot be read"},
          Case{{"service", argumentOf(json + R"(true,"localPort":"a"})")}, 65, "remotePort"},
          Case{{"service", argumentOf(json + R"(1,"localPort":"a","remotePort":"b"})")},
               65,
               "supportsGroupedAirPlay"},
          Case{{"service", argumentOf(json + R"(true,"localPort":"a","remotePort":"b"})")},
               65,
               "cannot be restored"}}) {
        SCOPED_TRACE(wrong.reason);
        ServiceWorld world(kitchen, {.starts = false});
        world.launch(wrong.arguments);
        EXPECT_THAT(world.exits, ElementsAre(wrong.status));
        EXPECT_GE(world.log.count(4, wrong.reason), 1U);
        EXPECT_EQ(world.log.count(4, secret) + world.log.count(4, "ZG8tbm90"), 0U);
    }
}

TEST(LifecycleTest, itStartsAsConfiguredAndCountsAsItsParent) {
    for (const bool isGrouped : {false, true}) {
        ServiceWorld world(kitchen, {.supportsGroupedAirPlay = isGrouped, .starts = false});
        std::filesystem::create_directories(world.directory.path() / "Contents");
        std::ofstream(world.directory.path() / "Contents" / "Info.plist")
            << R"(<plist version="1.0"><dict><key>CFBundleIdentifier</key><string>com.example.parent</string></dict></plist>)";
        const ORBRouteServiceLaunchConfig config = world.config();
        world.launch({"service", config.argument(), "ignored"});
        EXPECT_EQ(world.service->context()->outputContextType(), isGrouped ? "defaultShared" : "auxiliary");
        EXPECT_EQ(world.service->context()->applicationProcessID(), getpid());
        EXPECT_EQ(world.service->contextDevice()->deviceUID(), "parent-device");
        EXPECT_EQ(foundation::Bundle::mainBundle()->bundleIdentifier(), "com.example.parent");
        const std::string line = fmt::format(
            R"(Service launched with config: ORBRouteServiceLaunchConfig(pid: 1, bundle: {}, device: Parent, supportsGroupedAirPlay: {}, localPort: "parent", remotePort: "service"))",
            config.bundle.absoluteString(), isGrouped);
        EXPECT_EQ(world.log.count(1, line), 1U);
    }
}

TEST(LifecycleTest, theFirstCauseOfItsEndCountsAndNoOther) {
    ServiceWorld world(kitchen);
    EXPECT_FALSE(world.system->remoteCommands().playCommand.isEnabled());
    EXPECT_TRUE(world.system->remoteCommands().togglePlayPauseCommand.isEnabled());
    std::raise(SIGTERM);
    std::raise(SIGHUP);
    world.realm.settle();
    EXPECT_THAT(world.exits, ElementsAre(0));
    EXPECT_EQ(world.log.count(1, "Terminating ORBRouteService: received signal "), 1U);
    EXPECT_FALSE(world.service->mirrorDevice()->running());
    world.onMain([&] {
        world.link.reset();
        EXPECT_EQ(world.service->applicationShouldTerminate(), ORBRouteService::TerminateReply::cancel);
    });
    EXPECT_EQ(world.exits.size(), 1U);
}

} // namespace
} // namespace orb
