// SPDX-License-Identifier: MIT
#include "platform/foundation/ports/PortPlace.h"

#include "platform/foundation/DirectoryLock.h"
#include "platform/foundation/PathName.h"

#include <fmt/format.h>
#include <boost/asio/local/stream_protocol.hpp>

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <system_error>

namespace foundation {
namespace {

using Endpoint = boost::asio::local::stream_protocol::endpoint;

[[noreturn]] void failWith(int error, const std::string& what) {
    throw std::system_error(error, std::generic_category(), what);
}

FileDescriptor makeSocket() {
    FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!socket) {
        failWith(errno, "socket");
    }
    return socket;
}

} // namespace

PortPlace::PortPlace(const RuntimeDirectory& runtimeDirectory, std::string_view name)
    : directory_(runtimeDirectory.subdirectory("ports")), name_(name), component_(pathComponentOf(name)) {}

PortPlace::Visit PortPlace::visit() const {
    // The file is judged and reached through one descriptor: nothing can be put in its place in between.
    const FileDescriptor file(
        openat(directory_.descriptor(), component_.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    if (!file && errno == ENOENT) {
        return {};
    }
    struct stat status {};
    if (!file || fstat(file.get(), &status) != 0) {
        failWith(errno, (directory_.path() / component_).string());
    }
    if (!S_ISSOCK(status.st_mode)) {
        failWith(ENOTSOCK, (directory_.path() / component_).string());
    }
    Visit visit{Occupant::reachable, makeSocket()};
    const Endpoint address(fmt::format("/proc/self/fd/{}", file.get()));
    if (connect(visit.connection.get(), address.data(), static_cast<socklen_t>(address.size())) == 0) {
        return visit;
    }
    if (errno != EAGAIN && errno != ECONNREFUSED) {
        failWith(errno, (directory_.path() / component_).string());
    }
    return {errno == EAGAIN ? Occupant::busy : Occupant::dead, {}};
}

FileDescriptor PortPlace::claim(int backlog) {
    const DirectoryLock lock(directory_);
    const Occupant occupant = visit().occupant;
    if (occupant == Occupant::busy || occupant == Occupant::reachable) {
        failWith(EADDRINUSE, (directory_.path() / component_).string());
    }
    if (occupant == Occupant::dead) {
        directory_.remove(name_);
    }
    FileDescriptor listener = makeSocket();
    const Endpoint address(directory_.socketPath(name_));
    if (bind(listener.get(), address.data(), static_cast<socklen_t>(address.size())) != 0 ||
        listen(listener.get(), backlog) != 0) {
        failWith(errno, (directory_.path() / component_).string());
    }
    claimed_ = identityOfFile();
    return listener;
}

void PortPlace::release() {
    const DirectoryLock lock(directory_);
    if (claimed_ && identityOfFile() == claimed_) {
        directory_.remove(name_);
    }
    claimed_.reset();
}

std::optional<PortPlace::FileIdentity> PortPlace::identityOfFile() const {
    struct stat status {};
    if (fstatat(directory_.descriptor(), component_.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
        return std::nullopt;
    }
    return FileIdentity{status.st_dev, status.st_ino};
}

ucred peerOf(const FileDescriptor& connection) {
    ucred peer{};
    socklen_t size = sizeof peer;
    if (getsockopt(connection.get(), SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) {
        failWith(errno, "peer of a connection");
    }
    return peer;
}

} // namespace foundation
