// SPDX-License-Identifier: MIT
#include "ORBRouteService/log/flight/FlightEvent.h"
#include "ORBRouteService/log/flight/FlightRecorder.h"
#include "tests/ORBRouteService/core/ServiceWorld.h"

#include <gmock/gmock.h>

namespace orb {
namespace {

constexpr std::int64_t second = 44100; // frames

using Kind = FlightEvent::Kind;

/// An event as a person would tell it, with the whole second in which it was.
std::string told(const FlightEvent& event, dispatch::HostTime begin) {
    constexpr std::array names{"launched", "requested", "answered", "settings", "players", "io began",
                               "io ended", "joined",    "left",     "knob",     "volume",  "terminated"};
    const std::string device = event.devices.empty() ? "" : " " + event.devices.front().name;
    const double value = event.kind == Kind::settingsChanged ? event.renderLatency
                         : event.volume != 0                 ? event.volume
                                                             : event.count;
    return fmt::format(
        "{:.0f}: {}{}{}{}{}", std::floor(dispatch::toSeconds(event.time - begin)),
        names[static_cast<std::size_t>(event.kind)], device, value != 0 ? fmt::format(" {:.2f}", value) : "",
        event.isDuringUpdate ? " in an update" : "", event.text.empty() ? "" : ": " + event.text);
}

TEST(Flight, whatHappensToAServiceCanBeReadOffItsRecordingInItsOrderAndTime) {
    ServiceWorld world(
        R"({"name": "Kitchen", "id": "A1:00:00:00:00:01", "txt": {"deviceid": "A1:00:00:00:00:01"},
            "volume": 0.5, "lostAfter": 15})");
    FlightRecorder flight(world.realm.clock());
    const FlightRecorderInstallation installation(flight);
    const dispatch::HostTime begin = world.realm.clock().now();
    const auto kitchen = world.device("Kitchen", 1);
    world.ask({kitchen});
    world.run(3);
    world.onMain([&] { world.system->manager().setRenderLatency(1); });
    EXPECT_EQ(world.service->mirrorDevice()->targetDevices().size(), 1U) << "lost with the renderer";
    world.run(1);
    world.onMain([&] { kitchen->setVolume(0.25); });
    world.run(1);
    world.onMain([&] { world.system->airPlay().receivers().receivers().front()->setVolume(0.75F); });
    world.run(1);
    world.play(PlayerScript().sound(2 * second));
    world.run(20);
    world.onMain([&] { world.service->terminate(3, "the end"); });

    std::vector<std::string> story;
    for (const FlightEvent& event : controlEvents(FlightRecording::parse(flight.contents(), "memory"))) {
        story.push_back(told(event, begin));
    }
    EXPECT_THAT(story,
                testing::ElementsAre("0: requested Kitchen", "0: joined Kitchen in an update",
                                     "0: answered Kitchen", "3: settings 1.00", "4: volume Kitchen 0.25",
                                     "6: knob Kitchen 0.75", "6: players 1.00", "6: io began", "8: players",
                                     "11: io ended", "15: left Kitchen", "26: terminated 3.00: the end"));
}

} // namespace
} // namespace orb
