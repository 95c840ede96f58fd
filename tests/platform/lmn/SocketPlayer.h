// SPDX-License-Identifier: MIT
#pragma once

#include "platform/foundation/RuntimeDirectory.h"
#include "platform/lmn/embedded/PlayerProtocol.h"

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/un.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <span>
#include <string>
#include <string_view>

namespace lmn {

inline sockaddr_un playerAddress(const foundation::RuntimeDirectory& device) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = device.socketPath(playerSocketName);
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return address;
}

/// The bare socket of a player that may behave as badly as it likes. It never waits, so that it can share the
/// thread of virtual time.
class SocketPlayer {
  public:
    explicit SocketPlayer(const foundation::RuntimeDirectory& device)
        : socket_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {
        const sockaddr_un address = playerAddress(device);
        connected_ =
            ::connect(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    }

    bool isConnected() const { return connected_; }

    /// Bytes that the socket took: fewer than given when it is full, or the device gone.
    std::size_t send(std::string_view bytes) {
        std::size_t sent = 0;
        while (sent < bytes.size()) {
            const ssize_t count =
                ::send(socket_.get(), bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
            if (count < 0) {
                break;
            }
            sent += static_cast<std::size_t>(count);
        }
        return sent;
    }

    template <typename Sample>
    std::size_t sendSamples(std::span<const Sample> samples) {
        return send({reinterpret_cast<const char*>(samples.data()), samples.size_bytes()});
    }

    /// All that the device has said so far.
    const std::string& answer() {
        std::array<char, 256> bytes{};
        ssize_t count = 0;
        while ((count = ::recv(socket_.get(), bytes.data(), bytes.size(), 0)) > 0) {
            answer_.append(bytes.data(), static_cast<std::size_t>(count));
        }
        closed_ = closed_ || count == 0 || errno != EAGAIN;
        return answer_;
    }

    /// Whether the device has closed the connection.
    bool isClosed() {
        answer();
        return closed_;
    }

    void close() { socket_.reset(); }

  private:
    foundation::FileDescriptor socket_;
    bool connected_ = false;
    std::string answer_;
    bool closed_ = false;
};

} // namespace lmn
