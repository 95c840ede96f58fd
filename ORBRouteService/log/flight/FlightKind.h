// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace orb {

/// What a record of the flight recorder tells. The numbers stand in files: they keep their meaning, and new
/// kinds come at the end. In the comments: the record's subject; its text; its numbers.
enum class FlightKind : std::uint8_t {
    // Messages with the parent; `request` is what a request and its reply have in common.
    messageReceived =
        1,       // case name, or type of the error; the error's text; bytes, devices that follow, 1: not sent
    messageSent, // the same
    deviceReceived, // a device of the message before: UID; name
    deviceSent,     // the same

    // What comes from outside, and what the service makes of it.
    notice,           // the notification's name
    settings,         // -; -; render latency in s, prioritise synchronisation (0, 1), legacy grouping (0, 1)
    launched,         // UID of the context device; its name; process of the parent, context for groups (0, 1)
    terminated,       // -; reason; exit status
    updateBegan,      // -; -; devices wanted
    updateEnded,      // -; error, or "done"
    confirmation,     // name of the device that is waited for; what the wait does next
    outputJoined,     // identifier of the output device; name
    outputLeft,       // the same
    volumeToOutput,   // the virtual device's: name; name of the output; before, after
    volumeFromOutput, // the receiver's own knob: name of the virtual device; name of the output; before,
                      // after
    nowPlaying,       // -; -; active (0, 1)

    // The sound. Not one of these is written in a cycle in which nothing changes.
    mirrorRebuilt, // UID of the context device; -; render latency in s
    running,       // -; -; running (0, 1)
    players,       // -; -; processes that play into the context device
    ioBegan,       // the tap's IO
    ioEnded,
    sessionBegan, // the session runner
    sessionEnded,
    reset, // -; reason; flush (0, 1)
    clock, // what it was read for; -; media time in s, rate, start latency in s

    log, // a line of level 4: -; text
};

inline constexpr std::uint8_t lastFlightKind = static_cast<std::uint8_t>(FlightKind::log);

/// What a kind is called where people and programs read it.
constexpr std::string_view nameOf(FlightKind kind) {
    constexpr std::array<std::string_view, lastFlightKind + 1> names{"",
                                                                     "messageReceived",
                                                                     "messageSent",
                                                                     "deviceReceived",
                                                                     "deviceSent",
                                                                     "notice",
                                                                     "settings",
                                                                     "launched",
                                                                     "terminated",
                                                                     "updateBegan",
                                                                     "updateEnded",
                                                                     "confirmation",
                                                                     "outputJoined",
                                                                     "outputLeft",
                                                                     "volumeToOutput",
                                                                     "volumeFromOutput",
                                                                     "nowPlaying",
                                                                     "mirrorRebuilt",
                                                                     "running",
                                                                     "players",
                                                                     "ioBegan",
                                                                     "ioEnded",
                                                                     "sessionBegan",
                                                                     "sessionEnded",
                                                                     "reset",
                                                                     "clock",
                                                                     "log"};
    const auto index = static_cast<std::uint8_t>(kind);
    return index < names.size() ? names[index] : names[0];
}

} // namespace orb
