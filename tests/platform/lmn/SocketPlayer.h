// SPDX-License-Identifier: MIT
#pragma once

#include "platform/lmn/LMNDevice.h"
#include "platform/lmn/embedded/PlayerProtocol.h"
#include "tests/support/unixSockets.h"

#include <array>
#include <cerrno>
#include <span>
#include <string>
#include <string_view>

namespace lmn {

inline std::string playerSocketOf(const LMNDevice& device) {
    return device.directory().socketPath(playerSocketName);
}

/// The bare socket of a player that may behave as badly as it likes. It never waits, so that it can share the
/// thread of virtual time.
class SocketPlayer {
  public:
    explicit SocketPlayer(const LMNDevice& device)
        : socket_(support::connectedSocket(playerSocketOf(device))) {}

    bool isConnected() const { return static_cast<bool>(socket_); }

    /// Bytes that the socket took: fewer than given when it is full, or the device gone.
    std::size_t send(std::string_view bytes) {
        std::size_t sent = 0;
        ssize_t count = 0;
        while (sent < bytes.size() &&
               (count = ::send(socket_.get(), bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL)) > 0)
            sent += static_cast<std::size_t>(count);
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
        while ((count = ::recv(socket_.get(), bytes.data(), bytes.size(), 0)) > 0)
            answer_.append(bytes.data(), static_cast<std::size_t>(count));
        closed_ = closed_ || count == 0 || errno != EAGAIN;
        return answer_;
    }

    /// Whether the device has closed the connection.
    bool isClosed() { return answer(), closed_; }

    void close() { socket_.reset(); }

  private:
    foundation::FileDescriptor socket_;
    std::string answer_;
    bool closed_ = false;
};

} // namespace lmn
