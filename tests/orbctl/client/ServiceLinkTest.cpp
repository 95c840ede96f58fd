// SPDX-License-Identifier: MIT
#include "orbctl/client/ServiceLink.h"

#include "tests/ORBRouteService/port/PortWorld.h"

#include <gmock/gmock.h>

#include <functional>

/// A link with a scripted service, over real ports, in virtual time.
namespace orbctl {
namespace {

using namespace std::chrono_literals;
using dispatch::Task;
using foundation::Data;
using testing::ElementsAre;

const orb::LMNDeviceCodable kitchen{Data{"k"}, "Kitchen"};
const orb::LMNDeviceCodable bath{Data{"b"}, "Bath"};

class ServiceLinkTest : public orb::test::PortTest, public ServiceEvents {
  public:
    ServiceLinkTest() { openLink({"service", "parent"}); }
    ~ServiceLinkTest() override {
        onMain([this] { link.reset(); });
    }

    void openLink(const PortNames& names) {
        onMain([&] { link.emplace(context, names, *this); });
    }
    void start(Task<> task) {
        onMain([&] { tasks.spawn(std::move(task)); });
        realm.settle();
    }

    Task<> connect() {
        try {
            co_await link->connect();
            story.emplace_back("linked");
        } catch (const std::exception& error) {
            story.emplace_back(error.what());
        }
    }
    void linkUp() {
        start(setUp());
        start(connect());
        ASSERT_EQ(story.back(), "linked");
        story.clear();
    }

    Task<> update(std::optional<dispatch::Seconds> timeout = std::nullopt) {
        const std::set<orb::LMNDeviceCodable> devices{kitchen, bath};
        try {
            const orb::ORBUpdateDevicesReply routed = co_await link->updateDevices(devices, timeout);
            story.emplace_back("routed");
            for (const orb::LMNDeviceCodable& device : routed)
                story.back() += " " + *device.name;
        } catch (const std::exception& error) {
            story.emplace_back(error.what());
        }
    }

    Task<std::optional<orb::IPCMessage>> answer(orb::ORBAppToServiceMessage message) override {
        EXPECT_THAT(std::get<orb::UpdateDevices>(message).devices, ElementsAre(bath, kitchen));
        onMain([this] {
            for (const orb::ORBServiceToAppMessage& event : events)
                port->sendMessage(event);
        });
        co_return reply ? std::optional(orb::IPCMessage(Data{*reply})) : std::nullopt;
    }

    void deviceConnecting(const std::set<orb::LMNDeviceCodable>& devices) override {
        story.push_back("connecting " + std::to_string(devices.size()));
    }
    void deviceConnected(const orb::LMNDeviceCodable& device) override {
        story.push_back("connected " + *device.name);
    }
    void deviceWasDisconnected(const orb::LMNDeviceCodable& device) override {
        story.push_back("disconnected " + *device.name);
        if (atDisconnection)
            atDisconnection();
    }
    void serviceEnded() override { story.emplace_back("ended"); }

    const orb::ORBMessagePortContext context{realm, pool, notifications, directory};
    std::optional<ServiceLink> link;
    std::vector<orb::ORBServiceToAppMessage> events; // what the service tells before it replies
    std::optional<std::string> reply = "[]";
    std::function<void()> atDisconnection;
    std::vector<std::string> story; // events and outcomes, as they came
};

TEST_F(ServiceLinkTest, eventsComeInTheOrderSentBeforeTheReplyAndNotAfterTheLinksEnd) {
    linkUp();
    events = {orb::DeviceConnecting{{bath, kitchen}}, orb::DeviceConnected{kitchen},
              orb::DeviceWasDisconnected{bath}, orb::DeviceConnected{bath}};
    start(update());
    const std::vector<std::string> told{"connecting 2", "connected Kitchen", "disconnected Bath",
                                        "connected Bath", "routed"};
    EXPECT_EQ(story, told);
    for (const auto& [payload, outcome] :
         {std::pair(R"([{"data":"Yg==","name":"Bath"},{"data":"aw==","name":"Kitchen"}])",
                    "routed Bath Kitchen"),
          std::pair(R"({"noPickerWindow":{}})", "noPickerWindow")}) {
        reply = payload;
        start(update());
        EXPECT_EQ(story.back(), outcome);
    }

    reply.reset();
    for (const auto& finish : {std::function([this] { link->close(); }), {[this] { link.reset(); }}}) {
        atDisconnection = finish;
        openLink({"service", "parent"});
        linkUp();
        start(update());
        EXPECT_THAT(story, ElementsAre(told[0], told[1], told[2], "noRemoteConnection"));
    }
}

TEST_F(ServiceLinkTest, theServicesEndIsToldOnceFailsItsRequestsAndLetsTheNextServiceIn) {
    linkUp();
    reply.reset();
    start(update(dispatch::Seconds{1}));
    realm.advanceBy(1100ms);
    EXPECT_THAT(story, ElementsAre("messageTimeout"));
    start(update());
    onMain([this] { port->invalidate(); });
    realm.advanceBy(60s);
    start(update());
    EXPECT_THAT(story, ElementsAre("messageTimeout", "ended", "noRemoteConnection", "noRemoteConnection"));
    EXPECT_EQ(realm.armedTimers(), 0U);

    linkUp();
    onMain([this] { port->sendMessage(orb::ORBServiceToAppMessage(orb::DeviceConnected{bath})); });
    realm.settle();
    EXPECT_THAT(story, ElementsAre("connected Bath"));
}

} // namespace
} // namespace orbctl
