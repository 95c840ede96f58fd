// SPDX-License-Identifier: MIT
#pragma once

#include "platform/foundation/FileDescriptor.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <cstring>
#include <string>
#include <utility>

/// Bare stream sockets, for the side of a connection that a test plays as badly as it likes.
namespace support {

/// `path` must fit an address, as what `RuntimeDirectory::socketPath` gives does.
inline sockaddr_un unixAddress(const std::string& path) {
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return address;
}

/// Connects without waiting, and never waits later; none when that fails, for the reason in errno.
inline foundation::FileDescriptor connectedSocket(const std::string& path) {
    foundation::FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const sockaddr_un address = unixAddress(path);
    const bool isConnected =
        ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    return isConnected ? std::move(socket) : foundation::FileDescriptor();
}

/// A socket in the file system at which nobody listens yet; none when it cannot be there.
inline foundation::FileDescriptor boundSocket(const std::string& path) {
    foundation::FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const sockaddr_un address = unixAddress(path);
    const bool isBound =
        ::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    return isBound ? std::move(socket) : foundation::FileDescriptor();
}

} // namespace support
