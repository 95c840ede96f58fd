// SPDX-License-Identifier: MIT
#include "platform/dispatch/real/RealRealm.h"
#include "tests/ORBRouteService/audio/settings/SettingsProcess.h"
#include "tests/support/endWithParent.h"

#include <cstdio>

// The other process of TwoProcessTest: orb_manager_peer DIRECTORY
//
// Posts the notification Ready when it listens; switches legacyGroupedAirPlay on when a reload brings a
// latency of 0.5 s; answers each notification Ping by Pong; ends at Quit.

int main(int argc, char** argv) {
    support::endWithParent();
    if (argc != 2) {
        return 2;
    }
    dispatch::RealRealm realm;
    dispatch::Queue& main = realm.mainQueue();
    orb::SettingsProcess process(
        realm, argv[1], [](const std::string& line) { std::fprintf(stderr, "peer: %s\n", line.c_str()); });
    process.makeManager();
    const auto reloaded = process.center.observe(orb::ORBConfigurationDidChange, process.manager.get(),
                                                 nullptr, [&](const auto&) {
                                                     if (process.manager->renderLatency() == 0.5) {
                                                         process.manager->setLegacyGroupedAirPlay(true);
                                                     }
                                                 });
    const auto ping = process.distributed.observe("Ping", std::nullopt, main,
                                                  [&](const auto&) { process.distributed.post("Pong"); });
    const auto quit =
        process.distributed.observe("Quit", std::nullopt, main, [&](const auto&) { realm.stop(); });
    main.async([&] { process.distributed.post("Ready"); });
    realm.run();
    return 0;
}
