// SPDX-License-Identifier: MIT
#pragma once

#include "ORBRouteService/ORBMessagePort.h"
#include "ORBRouteService/ipc/IPCError.h"
#include "ORBRouteService/ipc/ORBAppToServiceMessage.h"

#include "platform/dispatch/virtual/VirtualRealm.h"
#include "platform/foundation/TemporaryDirectory.h"
#include "platform/lmn/LogCapture.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace orb::test {

using namespace std::chrono_literals;
using dispatch::Task;

/// The other side, without rules of its own: it sends any text, and keeps what it is sent.
class RawParent {
  public:
    RawParent(dispatch::Realm& realm, const foundation::RuntimeDirectory& directory)
        : realm_(realm), directory_(directory), queue_(realm.makeQueue("parent")) {}
    ~RawParent() { close(); }

    void open() {
        const auto keep = [this](std::int32_t, std::string data) { received.push_back(std::move(data)); };
        local_ = foundation::LocalMessagePort::create(*queue_, directory_, "parent", keep, fail);
    }
    void close() {
        queue_->sync([this] { local_.reset(); });
    }
    void send(const std::string& text, std::int32_t messageID = 0) {
        realm_.mainQueue().sync([&] {
            if (!remote_ || !remote_->isValid())
                remote_ =
                    foundation::RemoteMessagePort::create(realm_.mainQueue(), directory_, "service", fail);
            ASSERT_TRUE(remote_);
            ASSERT_EQ(remote_->sendRequest(messageID, text),
                      foundation::RemoteMessagePort::SendResult::success);
        });
    }
    void sendPayload(const std::string& payload, const foundation::UUID& uuid = foundation::UUID::random()) {
        send(foundation::encodeJSON(IPCMessage(foundation::Data{payload}, uuid)));
    }

    IPCMessage last() const { return foundation::decodeJSON<IPCMessage>(received.at(received.size() - 1)); }

    std::vector<std::string> received;

  private:
    static void fail(const std::string& line) { ADD_FAILURE() << line; }

    dispatch::Realm& realm_;
    const foundation::RuntimeDirectory& directory_;
    const std::unique_ptr<dispatch::Queue> queue_;
    std::unique_ptr<foundation::LocalMessagePort> local_;
    std::shared_ptr<foundation::RemoteMessagePort> remote_;
};

/// A service's port and a raw parent, in virtual time.
class PortTest : public testing::Test {
  public:
    PortTest() {
        onMain([this] {
            port = ORBMessagePort::create<ORBAppToServiceMessage>(
                {realm, pool, notifications, directory}, "service", "parent",
                [this] { return disconnected(); },
                [this](ORBAppToServiceMessage message) { return answer(std::move(message)); });
        });
    }
    ~PortTest() override {
        onMain([this] {
            port->invalidate();
            tasks.spawn(pool.drain());
        });
        realm.settle();
        onMain([this] { port.reset(); });
        realm.settle();
    }

    void onMain(dispatch::FunctionRef<void()> work) { realm.mainQueue().sync(work); }

    void connect() {
        parent.open();
        onMain([this] { tasks.spawn(setUp()); });
        realm.settle();
        ASSERT_EQ(setUpOutcome, "done");
    }

    Task<> setUp() {
        setUpOutcome = "under way";
        try {
            co_await port->setupRemotePort();
            setUpOutcome = "done";
        } catch (const std::exception& error) {
            setUpOutcome = error.what();
        }
    }

    /// Sends a request whose reply is a text; outcomes are in the order in which they came.
    Task<> ask(std::optional<dispatch::Seconds> timeout) {
        try {
            const ORBAppToServiceMessage request;
            const std::string reply = co_await port->sendMessage<std::string>(request, timeout);
            outcomes.push_back("reply " + reply);
        } catch (const std::exception& error) {
            outcomes.emplace_back(error.what());
        }
    }
    void startAsking(std::optional<dispatch::Seconds> timeout = std::nullopt) {
        onMain([&] { requests.spawn(ask(timeout)); });
        realm.settle();
    }

    Task<> disconnected() {
        ++disconnections;
        EXPECT_TRUE(realm.mainQueue().isCurrent());
        co_return;
    }

    virtual Task<std::optional<IPCMessage>> answer(ORBAppToServiceMessage) {
        ++handled;
        co_await dispatch::sleepFor(answerDelay);
        if (answerFailure)
            throw *answerFailure;
        co_return answerValue ? std::optional(IPCMessage::wrapping(*answerValue)) : std::nullopt;
    }

    foundation::TemporaryDirectory folder;
    foundation::RuntimeDirectory directory{folder.path()};
    lmn::LogCapture log;
    dispatch::VirtualRealm realm;
    dispatch::TaskPool pool{realm};
    foundation::NotificationCenter notifications;
    RawParent parent{realm, directory};
    dispatch::TaskGroup tasks{realm.mainQueue()};
    dispatch::TaskGroup requests{realm.mainQueue()};
    std::shared_ptr<ORBMessagePort> port;

    std::string setUpOutcome;
    std::vector<std::string> outcomes;
    int disconnections = 0;
    int handled = 0;
    std::optional<std::string> answerValue = "fine";
    std::optional<std::runtime_error> answerFailure;
    dispatch::Nanoseconds answerDelay{0};
};

} // namespace orb::test
