// SPDX-License-Identifier: MIT
#include "bench/orbsim/recordedWorld.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>
#include <string_view>
#include <utility>

namespace orbsim {
namespace {

using Kind = orb::FlightEvent::Kind;

class Retelling {
  public:
    explicit Retelling(const std::vector<orb::FlightEvent>& recorded) : recorded_(recorded) {}

    World world() {
        for (const orb::FlightEvent& event : recorded_) {
            retell(event);
        }
        if (world_.events.empty()) {
            throw WorldError("the recording has nothing that could be done again");
        }
        endPlaying(recorded_.back());
        std::ranges::stable_sort(world_.events, {}, &Event::at);
        return std::move(world_);
    }

  private:
    void retell(const orb::FlightEvent& event) {
        switch (event.kind) {
            case Kind::launched:
                world_.isGrouped = event.isGrouped;
                break;
            case Kind::devicesRequested:
                ask(event);
                break;
            case Kind::settingsChanged:
                add(event, SetLatency{event.renderLatency});
                break;
            case Kind::playersChanged:
                changePlayers(event);
                break;
            case Kind::receiverLeft:
                if (!event.isDuringUpdate) {
                    lose(event);
                }
                break;
            case Kind::knobTurned:
                if (!event.isDuringUpdate) {
                    add(event, TurnKnob{receiverNamed(event.devices.front().name), event.volume});
                }
                break;
            case Kind::volumeSet:
                if (!event.isDuringUpdate) {
                    add(event, SetVolume{receiverNamed(event.devices.front().name), event.volume});
                }
                break;
            case Kind::terminated:
                if (event.text == "parent process disconnected") {
                    add(event, ParentDies{false});
                }
                break;
            default: // what came of it
                break;
        }
    }

    /// What was lost before and is asked for was there again.
    void ask(const orb::FlightEvent& event) {
        Ask ask;
        for (const orb::FlightDevice& device : event.devices) {
            const std::int32_t receiver = receiverNamed(device.name);
            if (lost_.erase(receiver) > 0) {
                add(event, Become{receiver, world_.receivers[static_cast<std::size_t>(receiver)]});
            }
            ask.receivers.push_back(receiver);
        }
        add(event, std::move(ask));
    }

    void changePlayers(const orb::FlightEvent& event) {
        if (event.count == 0) {
            endPlaying(event);
        } else if (playing_ == noEvent) {
            playing_ = world_.events.size();
            add(event, Play{.seconds = 0, .stretch = 0, .pause = 0, .partsPerMillion = 0});
        }
    }

    void endPlaying(const orb::FlightEvent& event) {
        if (playing_ != noEvent) {
            Event& began = world_.events[std::exchange(playing_, noEvent)];
            std::get<Play>(began.action).seconds = std::max(0.1, timeOf(event) - began.at);
        }
    }

    void lose(const orb::FlightEvent& event) {
        const std::int32_t receiver = receiverNamed(event.devices.front().name);
        lost_.insert(receiver);
        add(event, Leave{receiver});
    }

    std::int32_t receiverNamed(std::string_view name) {
        const auto known = std::ranges::find(
            world_.receivers, name,
            [](const ReceiverEntry& entry) -> std::string_view { return entry.at("name").as_string(); });
        const auto index = static_cast<std::int32_t>(known - world_.receivers.begin());
        if (known == world_.receivers.end()) {
            const std::string address = fmt::format("A1:00:00:00:00:{:02X}", index + 1);
            world_.receivers.push_back(
                {{"name", name}, {"id", address}, {"txt", boost::json::object{{"deviceid", address}}}});
        }
        return index;
    }

    double timeOf(const orb::FlightEvent& event) const {
        return dispatch::toSeconds(event.time - recorded_.front().time);
    }
    void add(const orb::FlightEvent& event, Action action) {
        world_.events.push_back({timeOf(event), std::move(action)});
    }

    static constexpr std::size_t noEvent = SIZE_MAX;

    const std::vector<orb::FlightEvent>& recorded_;
    World world_{
        .isGrouped = false, .parentArrives = 0, .timerLateness = 1e-5, .receivers = {}, .events = {}};
    std::set<std::int32_t> lost_;
    std::size_t playing_ = noEvent; // the event with which a player began that still plays
};

} // namespace

World recordedWorld(const std::vector<orb::FlightEvent>& recorded) { return Retelling(recorded).world(); }

} // namespace orbsim
