// SPDX-License-Identifier: MIT
#pragma once

#include "ORBRouteService/log/flight/FlightSlot.h"

#include "platform/dispatch/Clock.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <string_view>
#include <vector>

namespace orb {

/// A file that is no recording; `what()` is "path: reason".
class FlightFileError final : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// What a flight recorder has kept, as a file tells it. A value; any thread.
struct FlightRecording {
    std::int32_t process = 0;
    dispatch::HostTime begin; // when the recorder was made,
    dispatch::Date beginDate; // and the wall clock then

    std::vector<FlightRecord> records = {}; // by time
    std::uint64_t overwritten = 0;          // older records that newer ones have replaced
    std::size_t unreadable = 0;             // slots that were being written, or are damaged

    dispatch::Date dateOf(dispatch::HostTime time) const { return beginDate + (time - begin); }

    /// `bytes` may come from anybody. Throws FlightFileError, whose text begins with `path`.
    static FlightRecording parse(std::string_view bytes, const std::filesystem::path& path);

    /// Reads a recorder's file, of a living process or a dead one, or a snapshot of one. Throws
    /// FlightFileError.
    static FlightRecording read(const std::filesystem::path& path);
};

/// The bytes of a recorder's file, no more than a recording can have. Throws FlightFileError.
std::string readFlightFile(const std::filesystem::path& path);

} // namespace orb
