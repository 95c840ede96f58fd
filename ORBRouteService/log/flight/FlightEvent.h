// SPDX-License-Identifier: MIT
#pragma once

#include "ORBRouteService/log/flight/FlightRecording.h"

#include <string>
#include <vector>

namespace orb {

/// A device of an event. For a request, the virtual device's UID; for what joins or leaves, the identifier of
/// the receiver.
struct FlightDevice {
    std::string identifier;
    std::string name;

    bool operator==(const FlightDevice&) const = default;
};

/// One thing that was done to a recorded service from outside, or that came of it: what a simulator needs to
/// do the same to another. A value.
struct FlightEvent {
    enum class Kind {
        launched,         // devices: the context device; isGrouped
        devicesRequested, // devices: those wanted; request
        requestAnswered,  // devices: those connected; text: the error, or empty; request
        settingsChanged,  // the three settings, where they are others than before
        playersChanged,   // count: processes that play into the context device
        ioBegan,          // the tap's IO, by the sound of a player
        ioEnded,
        receiverJoined, // devices: one; isDuringUpdate
        receiverLeft,   // the same; outside of an update, it was lost
        knobTurned,     // devices: the receiver's name; volume; isDuringUpdate
        volumeSet,      // devices: the virtual device's name; volume; isDuringUpdate
        terminated,     // text: the reason; count: the exit status
    };

    Kind kind{};
    dispatch::HostTime time; // of the recording
    std::vector<FlightDevice> devices = {};
    std::uint64_t request = 0; // what a request and its answer have in common
    std::string text = {};
    bool isDuringUpdate = false;
    bool isGrouped = false;
    int count = 0;
    double volume = 0;        // 0 to 1
    double renderLatency = 0; // s
    bool prioritizeSync = false;
    bool legacyGroupedAirPlay = false;

    bool operator==(const FlightEvent&) const = default;
};

/// The control half of a recording, in its order. A request whose devices are no longer all there is left
/// out. Any recording, whatever is in it.
std::vector<FlightEvent> controlEvents(const FlightRecording& recording);

} // namespace orb
