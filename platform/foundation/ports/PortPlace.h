// SPDX-License-Identifier: MIT
#pragma once

#include "platform/foundation/FileDescriptor.h"
#include "platform/foundation/RuntimeDirectory.h"

#include <sys/socket.h>
#include <sys/types.h>

#include <optional>
#include <string>
#include <string_view>

namespace foundation {

/// Where the socket of a named port is: a file of the subdirectory `ports` of the runtime directory. Symbolic
/// links are followed nowhere. One owner; any thread.
class PortPlace {
  public:
    enum class Occupant {
        none,
        dead,      ///< a socket that nobody listens at any more
        busy,      ///< somebody listens, but has no room for one more connection; stopped, say
        reachable, ///< somebody listens, and the connection is made
    };

    struct Visit {
        Occupant occupant = Occupant::none;
        FileDescriptor connection; // does not block
    };

    /// Throws RuntimeDirectoryError.
    PortPlace(const RuntimeDirectory& runtimeDirectory, std::string_view name);

    /// Tries to connect, without blocking. Throws std::system_error, also when what is there is no socket.
    Visit visit() const;

    /// Makes a listening socket here, which does not block, in the place of one that is dead. Throws
    /// std::system_error, with EADDRINUSE when the place is taken.
    FileDescriptor claim(int backlog);

    /// Removes the socket's file, if it is still that of the last claim. To be called before the socket is
    /// closed: as long as it is open, no other file looks like this one. Throws std::system_error.
    void release();

  private:
    struct FileIdentity {
        dev_t device;
        ino_t number;

        bool operator==(const FileIdentity&) const = default;
    };

    std::optional<FileIdentity> identityOfFile() const;

    RuntimeDirectory directory_;
    std::string name_;
    std::string component_;
    std::optional<FileIdentity> claimed_;
};

/// Who is at the other end of a connection, as the kernel knows it. Throws std::system_error.
ucred peerOf(const FileDescriptor& connection);

} // namespace foundation
