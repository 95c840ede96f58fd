// SPDX-License-Identifier: MIT
#include "ORBRouteService/ORBMessagePort.h"
#include "ORBRouteService/ipc/ORBAppToServiceMessage.h"
#include "ORBRouteService/ipc/ORBDeviceConnectionError.h"
#include "ORBRouteService/ipc/ORBServiceToAppMessage.h"
#include "ORBRouteService/ipc/ORBUpdateDevicesReply.h"
#include "platform/dispatch/real/RealRealm.h"
#include "platform/dispatch/runOn.h"
#include "platform/foundation/TemporaryDirectory.h"
#include "platform/lmn/LMNDeviceArchive.h"
#include "platform/lmn/LogCapture.h"
#include "tests/support/PeerProcess.h"

#include <gmock/gmock.h>
#include <boost/json/serialize.hpp>

#include <thread>

namespace orb::test {
namespace {

using dispatch::Task;
using support::PeerProcess;

/// A service of one message port, in real time, on a thread of its own. It connects any number of devices but
/// one: that needs a password.
class ForeignParentTest : public testing::Test {
  protected:
    ForeignParentTest() {
        main.async([this] {
            port = ORBMessagePort::create<ORBAppToServiceMessage>({realm, pool, notifications, directory},
                                                                  "service", "parent", nullptr, handler);
            tasks.spawn(port->setupRemotePort());
        });
    }
    ~ForeignParentTest() override {
        main.async([this] { tasks.spawn(end()); });
        thread.join();
    }

    Task<> end() {
        port->invalidate();
        co_await pool.drain();
        port.reset();
        realm.stop();
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
    std::thread thread{[this] { realm.run(); }};
};

TEST_F(ForeignParentTest, aParentWrittenFromTheProtocolPageIsUnderstoodAndUnderstands) {
    PeerProcess parent({HOUSE_PYTHON, HOUSE_SOURCE_DIR "/tests/protocol/parent.py", "service", "parent"},
                       {"ORB_RUNTIME_DIR=" + folder.path().string(), "PYTHONUTF8=1"});
    for (const char* const line :
         {"connecting: Bad, Küche/Süd", "connected: Küche/Süd", "connected: Bad", "disconnected: Bad",
          "routed: Küche/Süd", "error 17: A password is required to connect to “Bad”",
          "notice: key not found: No value for the key \"uuid\"."})
        EXPECT_EQ(parent.line(), line);
    main.async([this] { port->invalidate(); });
    EXPECT_EQ(parent.line(), "ended");
    EXPECT_EQ(parent.end(), 0);
}

} // namespace
} // namespace orb::test
