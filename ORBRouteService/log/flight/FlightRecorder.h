// SPDX-License-Identifier: MIT
#pragma once

#include "ORBRouteService/log/flight/FlightDirectory.h"
#include "ORBRouteService/log/flight/FlightKind.h"
#include "ORBRouteService/log/flight/FlightMemory.h"
#include "ORBRouteService/log/flight/FlightSlot.h"

#include "platform/dispatch/Clock.h"

#include <atomic>
#include <filesystem>
#include <optional>
#include <string>

namespace orb {

/// Keeps the last `slotCount` things that happened in a process, of all threads, in memory of a fixed size.
///
///     claim the next slot -> read the clock -> write the slot, its seal among the rest
///
/// Nobody waits for anybody: a reader, and a writer that was overtaken by a whole round of others, are found
/// out by the seal, and only that slot is lost. Made by the composition root.
class FlightRecorder {
  public:
    static constexpr std::uint32_t slotCount = 2048;

    /// Records into memory of the process's own.
    explicit FlightRecorder(const dispatch::Clock& clock);

    /// Records into a file in the directory `flights` of the runtime directory, which outlives a process that
    /// is killed. Where that cannot be, into memory, and a line of level 4 says why.
    FlightRecorder(const dispatch::Clock& clock, const std::filesystem::path& runtimeDirectory);

    FlightRecorder(const FlightRecorder&) = delete;
    FlightRecorder& operator=(const FlightRecorder&) = delete;

    /// Any thread, real-time ones included: never waits, allocates nothing, and makes no system call but the
    /// clock's. What is too long is cut; who records keeps secrets and archives out.
    void record(FlightKind kind, const FlightNote& note) noexcept;

    /// What is recorded now, as `FlightRecording` reads it. Any thread.
    std::string contents() const;

    /// Writes that to a file, mode 0600, which appears whole or not at all. Throws std::system_error. Any
    /// thread.
    void writeSnapshot(const std::filesystem::path& path) const;

    /// The same beside the recorder's own file, where the last few are kept; nowhere without one. What fails
    /// is logged. Any thread.
    void keepSnapshot() noexcept;

    /// Nobody will want this record: the file goes, recording goes on. Main thread.
    void discard() noexcept;

  private:
    void begin() noexcept;
    void openFile(const std::filesystem::path& runtimeDirectory);

    const dispatch::Clock& clock_;
    std::optional<FlightDirectory> directory_;
    std::string name_; // of the file, without its extension
    FlightMemory memory_;
    std::atomic<int> snapshots_{0}; // counted by whoever keeps one
};

/// While it lives, `recordFlight` records into `recorder`, which outlives all that may still record. Main
/// thread.
class FlightRecorderInstallation {
  public:
    explicit FlightRecorderInstallation(FlightRecorder& recorder) noexcept;
    ~FlightRecorderInstallation();
    FlightRecorderInstallation(const FlightRecorderInstallation&) = delete;
    FlightRecorderInstallation& operator=(const FlightRecorderInstallation&) = delete;

  private:
    FlightRecorder* const outer_;
};

/// Records into the recorder of the process; nothing without one. Any thread, see `FlightRecorder::record`.
void recordFlight(FlightKind kind, const FlightNote& note = {}) noexcept;

/// The recorder of the process; nullptr without one. For what takes work to record. Any thread.
FlightRecorder* flightRecorder() noexcept;

} // namespace orb
