// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dispatch/Clock.h"
#include "platform/foundation/FileDescriptor.h"
#include "platform/foundation/RuntimeDirectory.h"

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace orb {

/// Where the recordings of all services of the user are: the directory `flights` of the runtime directory.
///
///     20260131T235959.123Z-812.ring         memory of a recorder; its process may have been killed
///     20260131T235959.123Z-812-001.flight   a snapshot of it
///
/// A process holds a lock on its ring for as long as it lives. Holds no state: any thread.
class FlightDirectory {
  public:
    /// Snapshots, and rings of dead processes, that are kept; the oldest go.
    static constexpr std::size_t keptCount = 8;

    /// Throws RuntimeDirectoryError.
    explicit FlightDirectory(const std::filesystem::path& runtimeDirectory);

    /// A new, empty and locked file for the recorder of a process that began at `date`; what is too old goes.
    /// Throws std::system_error.
    struct NewRing {
        std::string name; // without the extension
        foundation::FileDescriptor file;
    };
    NewRing createRing(dispatch::Date date) const;

    void removeRing(const std::string& name) const noexcept;

    /// Keeps a snapshot of the ring `name`; what is too old goes. Throws std::system_error.
    void keepSnapshot(const std::string& name, int number, std::string_view bytes) const;

    struct Ring {
        std::filesystem::path path;
        bool isOfLivingProcess = false;
    };
    /// The oldest first.
    std::vector<Ring> rings() const;

  private:
    std::vector<std::filesystem::path> files(std::string_view extension) const;
    void removeOldSnapshots() const;
    void removeDeadRings() const;

    foundation::RuntimeDirectory directory_;
};

/// Replaces the file, mode 0600; it appears whole or not at all. Throws std::system_error naming it.
void writeFlightFile(const std::filesystem::path& path, std::string_view bytes);

} // namespace orb
