// SPDX-License-Identifier: MIT
#pragma once

#include "ORBRouteService/log/flight/FlightRecording.h"

#include <boost/json/object.hpp>

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace orbctl {

/// One line of a time line: a record, and, for a message, the devices in it.
struct FlightLine {
    struct Device {
        std::string uid;
        std::string name;
    };

    const orb::FlightRecord* record = nullptr; // of the recording
    std::vector<Device> devices = {};

    /// Of a message that answers another: how long after it.
    std::optional<dispatch::Nanoseconds> afterRequest = {};
};

/// A recording as a time line, for people and for programs. The recording outlives it. A value.
class FlightTimeline {
  public:
    explicit FlightTimeline(const orb::FlightRecording& recording);

    const std::vector<FlightLine>& lines() const { return lines_; }

    /// Whose recording it is, and what is missing of it.
    std::string title() const;

    /// "    12.345678  main             received updateDevices #3F2504E0  Kitchen (UID)": seconds since the
    /// first record, the queue, what happened.
    std::string textOf(const FlightLine& line) const;
    boost::json::object jsonOf(const FlightLine& line) const;

  private:
    void add(const orb::FlightRecord& record);
    void addDevice(const orb::FlightRecord& device);
    double secondsOf(const orb::FlightRecord& record) const;

    const orb::FlightRecording& recording_;
    std::vector<FlightLine> lines_;
    std::map<std::uint64_t, dispatch::HostTime> requests_; // when they were received
    std::map<std::pair<orb::FlightKind, std::uint64_t>, std::size_t>
        lastMessages_; // where they are, by the kind of their devices and request
};

} // namespace orbctl
