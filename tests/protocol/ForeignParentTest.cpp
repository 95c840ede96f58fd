// SPDX-License-Identifier: MIT
#include "ORBRouteService/ORBMessagePort.h"
#include "ORBRouteService/ipc/ORBAppToServiceMessage.h"
#include "ORBRouteService/ipc/ORBDeviceConnectionError.h"
#include "ORBRouteService/ipc/ORBServiceToAppMessage.h"
#include "ORBRouteService/ipc/ORBUpdateDevicesReply.h"
#include "platform/dispatch/real/RealRealm.h"
#include "platform/dispatch/runOn.h"
#include "platform/foundation/DescriptorWatch.h"
#include "platform/lmn/LMNDeviceArchive.h"
#include "tests/platform/foundation/TemporaryDirectory.h"
#include "tests/support/LogCapture.h"
#include "tests/support/PeerProcess.h"

#include <gmock/gmock.h>
#include <boost/json/serialize.hpp>

#include <array>
#include <cerrno>

namespace orb::test {
namespace {

using dispatch::Task;
using support::PeerProcess;

/// A service of one message port, in real time. It connects any number of devices but one: that needs a
/// password. It ends when its parent has told of a notice.
class ForeignParentTest : public testing::Test {
  protected:
    ~ForeignParentTest() override {
        main.async([this] {
            watch.reset();
            port->invalidate();
            tasks.cancel();
            tasks.spawn(pool.drain());
            stopWhenIdle();
        });
        realm.run();
    }

    void stopWhenIdle() {
        main.async([this] {
            if (tasks.running() > 0) {
                return stopWhenIdle();
            }
            port.reset();
            realm.stop();
        });
    }

    /// Runs until the parent has closed its output, which it keeps as `printed`.
    void serve(const PeerProcess& parent) {
        main.async([this, &parent] {
            port = ORBMessagePort::create<ORBAppToServiceMessage>({realm, pool, notifications, directory},
                                                                  "service", "parent", nullptr, handler);
            tasks.spawn(port->setupRemotePort());
            watch.emplace(main, foundation::FileDescriptor(dup(parent.descriptor())),
                          [this](int descriptor) { read(descriptor); });
        });
        const auto limit = main.asyncAfter(PeerProcess::patience, [this] { realm.stop(); });
        realm.run();
        limit->cancel();
    }

    void read(int descriptor) {
        std::array<char, 4096> bytes;
        const ssize_t size = ::read(descriptor, bytes.data(), bytes.size());
        if (size < 0 && (errno == EAGAIN || errno == EINTR)) {
            return; // a watch may call for what was read in the call before
        }
        if (size <= 0) {
            return realm.stop();
        }
        printed.append(bytes.data(), static_cast<std::size_t>(size));
        if (printed.find("notice:") != std::string::npos) {
            port->invalidate();
        }
    }

    Task<std::optional<IPCMessage>> answer(ORBAppToServiceMessage message) {
        auto answering = answerOnMain(std::get<UpdateDevices>(message).devices);
        co_return co_await dispatch::runOn(main, std::move(answering));
    }

    Task<std::optional<IPCMessage>> answerOnMain(std::set<LMNDeviceCodable> devices) {
        if (devices.size() == 1) {
            const auto errorCase = ORBDeviceConnectionError::Case::passwordRequired;
            co_return IPCMessage::wrapping(ORBDeviceConnectionError(errorCase, *devices.begin()));
        }
        port->sendMessage(ORBServiceToAppMessage(DeviceConnecting{devices}));
        ORBUpdateDevicesReply reply;
        for (const LMNDeviceCodable& device : devices) {
            const auto config = lmn::configOfArchive(device.data.bytes);
            reply.push_back({foundation::Data{boost::json::serialize(lmn::archiveOf(config))}, device.name});
            port->sendMessage(ORBServiceToAppMessage(DeviceConnected{reply.back()}));
        }
        port->sendMessage(ORBServiceToAppMessage(DeviceWasDisconnected{reply.back()}));
        reply.pop_back();
        co_return IPCMessage::wrapping(reply);
    }

    const foundation::TemporaryDirectory folder;
    const foundation::RuntimeDirectory directory{folder.path()};
    const lmn::LogCapture log;
    dispatch::RealRealm realm;
    dispatch::Queue& main = realm.mainQueue();
    dispatch::TaskPool pool{realm};
    foundation::NotificationCenter notifications;
    dispatch::TaskGroup tasks{main};
    const ORBMessagePort::RequestHandler<ORBAppToServiceMessage> handler =
        [this](ORBAppToServiceMessage message) { return answer(std::move(message)); };
    std::shared_ptr<ORBMessagePort> port;
    std::optional<foundation::DescriptorWatch> watch;
    std::string printed;
};

TEST_F(ForeignParentTest, aParentWrittenFromTheProtocolPageIsUnderstoodAndUnderstands) {
    PeerProcess parent({HOUSE_PYTHON, HOUSE_SOURCE_DIR "/tests/protocol/parent.py", "service", "parent"},
                       {"ORB_RUNTIME_DIR=" + folder.path().string(), "PYTHONUTF8=1"});
    serve(parent);
    EXPECT_EQ(printed,
              "connecting: Bad, Küche/Süd\n"
              "connected: Küche/Süd\n"
              "connected: Bad\n"
              "disconnected: Bad\n"
              "routed: Küche/Süd\n"
              "error 17: A password is required to connect to “Bad”\n"
              "notice: key not found: No value for the key \"uuid\".\n"
              "ended\n");
    EXPECT_EQ(parent.end(), 0);
}

} // namespace
} // namespace orb::test
