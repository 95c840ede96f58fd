// SPDX-License-Identifier: MIT
#include "platform/dispatch/real/RealRealm.h"
#include "platform/foundation/DistributedNotificationCenter.h"
#include "platform/foundation/UserDefaults.h"
#include "tests/support/endWithParent.h"

#include <cstdio>
#include <string>

// The other process of TwoProcessTest. Says on standard output, by a line, when it listens.
//
//   foundation_peer echo DIRECTORY            answers each notification Ping by Pong, each change of the
//                                             preference question by that of answer, until the notification
//                                             Quit
//   foundation_peer write DIRECTORY KEY COUNT writes COUNT preferences KEY0, KEY1, ...

namespace {

using namespace foundation;

void report(const std::string& line) { std::fprintf(stderr, "peer: %s\n", line.c_str()); }

void sayReady() {
    std::puts("ready");
    std::fflush(stdout);
}

void echo(dispatch::RealRealm& realm, DistributedNotificationCenter& distributed, NotificationCenter& center,
          UserDefaults& defaults) {
    dispatch::Queue& main = realm.mainQueue();
    const auto ping = distributed.observe(
        "Ping", std::nullopt, main,
        [&](const DistributedNotification& heard) { distributed.post("Pong", heard.object); });
    const auto quit = distributed.observe("Quit", std::nullopt, main,
                                          [&](const DistributedNotification&) { realm.stop(); });
    const auto question = center.observe(
        userDefaultsDidChangeNotification, &defaults, nullptr,
        [&](const Notification&) { defaults.setInteger("answer", defaults.integerForKey("question")); });
    main.async([] { sayReady(); });
    realm.run();
}

} // namespace

int main(int argc, char** argv) {
    support::endWithParent();
    const std::vector<std::string> arguments(argv, argv + argc);
    dispatch::RealRealm realm;
    NotificationCenter center;
    UserDefaults defaults(SuiteName::parse("suite").value(),
                          {realm.mainQueue(), center, arguments.at(2), report});
    if (arguments.at(1) == "echo") {
        DistributedNotificationCenter distributed(realm.mainQueue(), RuntimeDirectory(arguments.at(2)),
                                                  report);
        echo(realm, distributed, center, defaults);
        return 0;
    }
    sayReady();
    for (int number = 0; number < std::stoi(arguments.at(4)); ++number) {
        defaults.setInteger(arguments.at(3) + std::to_string(number), number);
    }
    return 0;
}
