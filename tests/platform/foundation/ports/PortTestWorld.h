// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dispatch/real/RealRealm.h"
#include "platform/dispatch/virtual/VirtualRealm.h"
#include "platform/foundation/FileDescriptor.h"
#include "platform/foundation/ports/LocalMessagePort.h"
#include "platform/foundation/ports/MessageFrames.h"
#include "platform/foundation/ports/RemoteMessagePort.h"
#include "tests/platform/foundation/TemporaryDirectory.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <cstring>
#include <utility>
#include <vector>

namespace foundation {

struct RealWorld {
    dispatch::RealRealm realm;

    /// Runs the main queue until `done` holds; false when it does not for half a minute.
    bool runUntil(const std::function<bool()>& done) {
        int attempts = 30'000;
        const std::function<void()> poll = [&] {
            if (done() || --attempts == 0) {
                return realm.stop();
            }
            realm.mainQueue().asyncAfter(std::chrono::milliseconds(1), [&] { poll(); });
        };
        realm.mainQueue().async([&] { poll(); });
        realm.run();
        return attempts > 0;
    }
};

struct VirtualWorld {
    dispatch::VirtualRealm realm;

    bool runUntil(const std::function<bool()>& done) {
        return realm.advanceUntil(done, std::chrono::seconds(1));
    }
};

using Messages = std::vector<std::pair<std::int32_t, std::string>>;

/// Connects without waiting; none when that fails, for the reason in errno.
inline FileDescriptor connectRaw(const std::string& path) {
    FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    if (::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        return {};
    }
    return socket;
}

/// Ports of one runtime directory, on the main queue of one realm.
template <typename World>
class PortTest : public testing::Test {
  public:
    std::unique_ptr<LocalMessagePort> makePort(const std::string& name = "port") {
        return LocalMessagePort::create(
            world.realm.mainQueue(), runtime, name,
            [this](std::int32_t id, std::string data) { arrived.emplace_back(id, std::move(data)); }, report);
    }

    std::shared_ptr<RemoteMessagePort> makeSender(const std::string& name = "port") {
        return RemoteMessagePort::create(world.realm.mainQueue(), runtime, name, report);
    }

    bool runUntilArrived(std::size_t count) {
        return world.runUntil([&] { return arrived.size() >= count; });
    }

    bool runUntilReported(std::size_t count) {
        return world.runUntil([&] { return reports.size() >= count; });
    }

    std::string socketPath(const std::string& name = "port") const { return ports.socketPath(name); }

    const TemporaryDirectory root;
    const RuntimeDirectory runtime{root.path()};
    const RuntimeDirectory ports = runtime.subdirectory("ports");
    Messages arrived;
    std::vector<std::string> reports;
    std::function<void(std::string)> report = [this](const std::string& line) { reports.push_back(line); };
    World world;
};

} // namespace foundation
