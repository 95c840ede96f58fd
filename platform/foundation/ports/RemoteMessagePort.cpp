// SPDX-License-Identifier: MIT
#include "platform/foundation/ports/RemoteMessagePort.h"

#include "platform/foundation/ports/MessageFrames.h"
#include "platform/foundation/ports/OnceReady.h"
#include "platform/foundation/ports/PortPlace.h"

#include <fmt/format.h>

#include <sys/socket.h>
#include <sys/uio.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <exception>
#include <utility>

namespace foundation {
namespace {

using Descriptor = boost::asio::posix::stream_descriptor;

/// What is asked for, in bytes; the kernel may give less.
constexpr int sendBufferSize = 1024 * 1024;

iovec piece(std::string_view bytes) {
    return {const_cast<char*>(bytes.data()), bytes.size()}; // only read from
}

/// The connection, its preface sent; none when nobody serves the place. Throws std::exception.
FileDescriptor connectTo(const PortPlace& place) {
    PortPlace::Visit visit = place.visit();
    if (visit.occupant == PortPlace::Occupant::busy) {
        throw std::runtime_error("too many connections wait there");
    }
    if (visit.occupant != PortPlace::Occupant::reachable) {
        return {};
    }
    const ucred peer = peerOf(visit.connection);
    if (peer.uid != geteuid()) {
        throw std::runtime_error(fmt::format("it is served by process {} of user {}", peer.pid, peer.uid));
    }
    setsockopt(visit.connection.get(), SOL_SOCKET, SO_SNDBUF, &sendBufferSize, sizeof sendBufferSize);
    const ssize_t sent =
        send(visit.connection.get(), messagePreface.data(), messagePreface.size(), MSG_NOSIGNAL);
    if (sent != static_cast<ssize_t>(messagePreface.size())) { // fits always: the port has just gone
        return {};
    }
    return std::move(visit.connection);
}

} // namespace

std::shared_ptr<RemoteMessagePort> RemoteMessagePort::create(dispatch::Queue& queue,
                                                             const RuntimeDirectory& runtimeDirectory,
                                                             std::string name,
                                                             std::function<void(std::string)> report) {
    try {
        FileDescriptor socket = connectTo(PortPlace(runtimeDirectory, name));
        if (!socket) {
            return nullptr;
        }
        std::shared_ptr<RemoteMessagePort> port(
            new RemoteMessagePort(queue, std::move(socket), name, report));
        port->waitForEnd();
        return port;
    } catch (const std::exception& error) {
        report(fmt::format("message port \"{}\" cannot be reached: {}", name, error.what()));
        return nullptr;
    }
}

RemoteMessagePort::RemoteMessagePort(dispatch::Queue& queue, FileDescriptor socket, std::string name,
                                     std::function<void(std::string)> report)
    : queue_(queue),
      name_(std::move(name)),
      report_(std::move(report)),
      socket_(queue.ioContext(), socket.get()) {
    socket.release();
}

RemoteMessagePort::~RemoteMessagePort() { invalidate(); }

void RemoteMessagePort::invalidate() {
    endedByOther_ = false;
    invalidationCallback_ = nullptr;
    if (!isValid()) {
        return;
    }
    if (flush() && !remainder_.empty()) {
        report_(fmt::format("message port \"{}\": closed with {} bytes of a message unsent", name_,
                            remainder_.size() - written_));
    }
    close();
}

void RemoteMessagePort::setInvalidationCallback(std::function<void()> callback) {
    invalidationCallback_ = std::move(callback);
    if (endedByOther_) {
        announceEnd();
    }
}

RemoteMessagePort::SendResult RemoteMessagePort::sendRequest(std::int32_t messageID, std::string_view data) {
    if (!isValid()) {
        return SendResult::isInvalid;
    }
    if (data.size() > maximumMessage) {
        return SendResult::tooLarge;
    }
    const std::string header = messageHeader(messageID, data.size());
    std::optional<std::size_t> written;
    if (flush()) {
        written = remainder_.empty() ? write(header, data) : std::size_t{0};
    }
    if (!written) {
        endedByOther();
        return SendResult::isInvalid;
    }
    if (*written == 0) {
        return SendResult::sendTimeout;
    }
    if (*written < header.size() + data.size()) {
        const std::size_t ofHeader = std::min(*written, header.size());
        remainder_ = header.substr(ofHeader);
        remainder_ += data.substr(*written - ofHeader);
        waitForSpace();
    }
    return SendResult::success;
}

void RemoteMessagePort::waitForEnd() {
    onceReady(socket_, Descriptor::wait_read, queue_, weak_from_this(), &RemoteMessagePort::otherSideSpoke);
}

void RemoteMessagePort::waitForSpace() {
    if (!std::exchange(waitsForSpace_, true)) {
        onceReady(socket_, Descriptor::wait_write, queue_, weak_from_this(), &RemoteMessagePort::spaceCame);
    }
}

/// A port never writes: what there is to read is the end, or not from a port.
void RemoteMessagePort::otherSideSpoke() {
    char byte = 0;
    const ssize_t size = recv(socket_.native_handle(), &byte, 1, MSG_DONTWAIT);
    if (size < 0 && (errno == EAGAIN || errno == EINTR)) {
        return waitForEnd();
    }
    if (size > 0) {
        report_(fmt::format("message port \"{}\": it answers, which no port does", name_));
    }
    endedByOther();
}

void RemoteMessagePort::spaceCame() {
    waitsForSpace_ = false;
    if (!flush()) {
        endedByOther();
    } else if (!remainder_.empty()) {
        waitForSpace();
    }
}

/// The bytes that the socket took, 0 when it is full; nullopt when nobody will read them.
std::optional<std::size_t> RemoteMessagePort::write(std::string_view header, std::string_view data) {
    std::array<iovec, 2> pieces{piece(header), piece(data)};
    msghdr message{};
    message.msg_iov = pieces.data();
    message.msg_iovlen = pieces.size();
    const ssize_t size = sendmsg(socket_.native_handle(), &message, MSG_DONTWAIT | MSG_NOSIGNAL);
    if (size >= 0) {
        return static_cast<std::size_t>(size);
    }
    if (errno == EAGAIN || errno == EINTR || errno == ENOBUFS || errno == ENOMEM) {
        return 0;
    }
    return std::nullopt;
}

/// Offers the remainder to the socket; false when nobody will read it.
bool RemoteMessagePort::flush() {
    if (remainder_.empty()) {
        return true;
    }
    const auto size = write(std::string_view(remainder_).substr(written_), {});
    written_ += size.value_or(0);
    if (written_ == remainder_.size()) {
        remainder_ = {};
        written_ = 0;
    }
    return size.has_value();
}

void RemoteMessagePort::endedByOther() {
    close();
    endedByOther_ = true;
    announceEnd();
}

void RemoteMessagePort::announceEnd() {
    queue_.async([weak = weak_from_this()] {
        if (const auto self = weak.lock()) {
            self->callBack();
        }
    });
}

void RemoteMessagePort::callBack() {
    if (const auto callback = std::exchange(invalidationCallback_, nullptr); callback && endedByOther_) {
        callback();
    }
}

void RemoteMessagePort::close() {
    boost::system::error_code ignored;
    socket_.close(ignored); // whatever it says, the descriptor is gone
    remainder_ = {};
    written_ = 0;
}

} // namespace foundation
