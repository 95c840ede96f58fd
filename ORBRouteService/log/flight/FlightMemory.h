// SPDX-License-Identifier: MIT
#pragma once

#include "ORBRouteService/log/flight/FlightSlot.h"

#include "platform/dispatch/Clock.h"
#include "platform/foundation/FileDescriptor.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace orb {

/// How a recording begins; what follows are its slots. One slot long.
struct FlightHeader {
    static constexpr std::array<char, 8> expectedMagic{'O', 'R', 'B', 'F', 'L', 'I', 'T', '\n'};
    static constexpr std::uint32_t expectedVersion = 1;

    std::array<char, 8> magic = expectedMagic;
    std::uint32_t version = expectedVersion;
    std::uint32_t slotSize = sizeof(FlightSlot);
    std::uint32_t slotCount = 0;
    std::int32_t process = 0;
    std::int64_t hostTime = 0; // ns of the host clock as the recorder was made,
    std::int64_t wallTime = 0; // and of the wall clock, since 1970
    std::uint64_t claimed = 0; // slots, in all
    std::array<std::uint64_t, 26> reserved{};
};
static_assert(sizeof(FlightHeader) == sizeof(FlightSlot));

/// The memory of a recording, header and slots: that of a file, which stays when the process is killed, or
/// the process's own. Owned by the recorder. Any thread: whatever is in use is read and written word by word,
/// atomically.
class FlightMemory {
  public:
    /// Throws std::bad_alloc.
    explicit FlightMemory(std::uint32_t slotCount);

    /// `file` is empty; its space is reserved here, so that writing cannot fail later. Throws
    /// std::system_error.
    FlightMemory(foundation::FileDescriptor file, std::uint32_t slotCount);

    FlightMemory(FlightMemory&& other) noexcept;
    FlightMemory& operator=(FlightMemory&& other) noexcept;
    FlightMemory(const FlightMemory&) = delete;
    FlightMemory& operator=(const FlightMemory&) = delete;
    ~FlightMemory();

    /// Before anybody records.
    void begin(dispatch::HostTime now, dispatch::Date date) noexcept;

    /// The number of the next record, from 1.
    std::uint64_t claim() noexcept;

    /// Puts the record into its place.
    void put(const FlightSlot& slot) noexcept;

    /// All of it, byte for byte.
    std::string copy() const;

  private:
    std::size_t size() const;

    std::uint32_t slotCount_;
    foundation::FileDescriptor file_; // held open: its lock says that the process lives
    std::uint64_t* words_ = nullptr;  // after what its size depends on
};

} // namespace orb
