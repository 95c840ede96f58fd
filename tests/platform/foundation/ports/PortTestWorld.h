// SPDX-License-Identifier: MIT
#pragma once

#include "platform/foundation/TemporaryDirectory.h"
#include "platform/foundation/ports/LocalMessagePort.h"
#include "platform/foundation/ports/MessageFrames.h"
#include "platform/foundation/ports/RemoteMessagePort.h"
#include "tests/support/runUntil.h"
#include "tests/support/unixSockets.h"

#include <gmock/gmock.h>

#include <utility>
#include <vector>

namespace foundation {

using Messages = std::vector<std::pair<std::int32_t, std::string>>;

/// Ports of one runtime directory, on the main queue of a realm.
class PortTest : public testing::Test {
  public:
    std::unique_ptr<LocalMessagePort> makePort(const std::string& name = "port") {
        return LocalMessagePort::create(
            realm.mainQueue(), runtime, name,
            [this](std::int32_t id, std::string data) { arrived.emplace_back(id, std::move(data)); }, report);
    }

    std::shared_ptr<RemoteMessagePort> makeSender(const std::string& name = "port") {
        return RemoteMessagePort::create(realm.mainQueue(), runtime, name, report);
    }

    bool runUntil(const std::function<bool()>& done) { return support::runUntil(realm, done); }

    bool runUntilArrived(std::size_t count) {
        return runUntil([&] { return arrived.size() >= count; });
    }

    std::string socketPath(const std::string& name = "port") const { return ports.socketPath(name); }

    const TemporaryDirectory root;
    const RuntimeDirectory runtime{root.path()};
    const RuntimeDirectory ports = runtime.subdirectory("ports");
    Messages arrived;
    std::vector<std::string> reports;
    std::function<void(std::string)> report = [this](const std::string& line) { reports.push_back(line); };
    dispatch::RealRealm realm;
};

} // namespace foundation
