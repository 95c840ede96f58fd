// SPDX-License-Identifier: MIT
#include "platform/lmn/embedded/PlayerClient.h"

#include <fmt/format.h>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string_view>

namespace lmn {
namespace {

std::system_error failure(int error, const std::string& what) {
    return {error, std::generic_category(), what};
}

bool meansDisconnected(int error) { return error == EPIPE || error == ECONNRESET; }

PlayerDisconnected disconnected(int error, const std::string& device) {
    return {error, std::generic_category(), device + " left"};
}

sockaddr_un addressOf(const std::string& path, const std::string& device) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        throw failure(ENAMETOOLONG, "cannot connect to " + device);
    }
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return address;
}

foundation::FileDescriptor connectTo(const std::string& path, const std::string& device) {
    const sockaddr_un address = addressOf(path, device);
    foundation::FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!socket) {
        throw failure(errno, "no socket");
    }
    while (::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        if (errno == ENOENT || errno == ECONNREFUSED) {
            throw failure(errno, "nobody serves " + device);
        }
        if (errno != EINTR) {
            throw failure(errno, "cannot connect to " + device);
        }
    }
    return socket;
}

/// Connects by way of the directory's descriptor, since the path itself may be too long for an address.
foundation::FileDescriptor connectThroughDirectory(const std::filesystem::path& path) {
    const std::filesystem::path parent = path.has_parent_path() ? path.parent_path() : ".";
    const foundation::FileDescriptor directory(::open(parent.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!directory) {
        throw failure(errno, fmt::format("{} {}", errno == ENOENT ? "nobody serves" : "cannot connect to",
                                         path.string()));
    }
    return connectTo(fmt::format("/proc/self/fd/{}/{}", directory.get(), path.filename().string()),
                     path.string());
}

} // namespace

PlayerClient::PlayerClient(const foundation::RuntimeDirectory& device, const PlayerHello& hello)
    : socket_(connectTo(device.socketPath(playerSocketName), device.path().string())),
      sampleType_(hello.sampleType),
      device_(device.path().string()) {
    introduce(hello);
}

PlayerClient::PlayerClient(const std::filesystem::path& socket, const PlayerHello& hello)
    : socket_(connectThroughDirectory(socket)), sampleType_(hello.sampleType), device_(socket.string()) {
    introduce(hello);
}

void PlayerClient::write(std::span<const float> interleaved) {
    if (sampleType_ != PlayerSampleType::float32) {
        throw std::invalid_argument("the hello did not promise float32 samples");
    }
    send(std::as_bytes(interleaved));
}

void PlayerClient::write(std::span<const std::int16_t> interleaved) {
    if (sampleType_ != PlayerSampleType::int16) {
        throw std::invalid_argument("the hello did not promise int16 samples");
    }
    send(std::as_bytes(interleaved));
}

void PlayerClient::introduce(const PlayerHello& hello) {
    const std::string line = encodeHello(hello);
    try {
        send(std::as_bytes(std::span(line)));
    } catch (const PlayerDisconnected&) {
        // A device that has read enough to refuse leaves at once; its reason is still to be read.
        decodeAnswer(readAnswer());
        throw;
    }
    decodeAnswer(readAnswer());
}

std::string PlayerClient::readAnswer() {
    std::string answer;
    std::array<char, 512> bytes{};
    while (answer.size() < longestHello) {
        const ssize_t count = ::recv(socket_.get(), bytes.data(), bytes.size(), 0);
        if (count == 0) {
            throw disconnected(ECONNRESET, device_);
        }
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0 && meansDisconnected(errno)) {
            throw disconnected(errno, device_);
        }
        if (count < 0) {
            throw failure(errno, "no answer from " + device_);
        }
        answer.append(bytes.data(), static_cast<std::size_t>(count));
        if (const std::size_t end = answer.find('\n'); end != std::string::npos) {
            return answer.substr(0, end);
        }
    }
    throw PlayerProtocolError(fmt::format("the answer is longer than {} bytes", longestHello));
}

void PlayerClient::send(std::span<const std::byte> bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count >= 0) {
            bytes = bytes.subspan(static_cast<std::size_t>(count));
            continue;
        }
        if (meansDisconnected(errno)) {
            throw disconnected(errno, device_);
        }
        if (errno != EINTR) {
            throw failure(errno, "cannot send to " + device_);
        }
    }
}

} // namespace lmn
