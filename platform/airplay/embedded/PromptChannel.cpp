// SPDX-License-Identifier: MIT
#include "platform/airplay/embedded/PromptChannel.h"

#include "platform/foundation/coding/JSONCoder.h"

#include <fmt/format.h>
#include <boost/json/object.hpp>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

namespace airplay {
namespace {

struct PromptAnswer {
    std::optional<std::string> answer;
};

using foundation::FileDescriptor;

/// nullopt when the path is longer than an address.
std::optional<sockaddr_un> addressOf(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        return std::nullopt;
    }
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return address;
}

} // namespace
} // namespace airplay

template <>
struct foundation::Coding<airplay::PromptAnswer> : foundation::StructCoding<airplay::PromptAnswer> {
    static constexpr std::tuple fields{Field{"answer", &airplay::PromptAnswer::answer}};
};

namespace airplay {

PromptQuestion PromptQuestion::from(const UserAlerts::SecretRequest& request) {
    return {.ask = request.kind == SecretKind::password ? "password" : "code",
            .receiver = request.receiver,
            .name = request.name,
            .wasWrong = request.wasWrong};
}

std::string encodePromptAnswer(const std::optional<Secret>& answer) {
    return answer ? foundation::encodeJSON(PromptAnswer{answer->reveal()}) + '\n' : "{\"dismiss\":true}\n";
}

std::optional<Secret> decodePromptAnswer(std::string_view line) {
    try {
        auto answer = foundation::decodeJSON<PromptAnswer>(line).answer;
        return answer ? std::optional(Secret(std::move(*answer))) : std::nullopt;
    } catch (const foundation::DecodingError&) {
        return std::nullopt;
    }
}

PromptChannel::PromptChannel(dispatch::Queue& queue, FileDescriptor socket,
                             std::function<void(std::optional<std::string> line)> received)
    : descriptor_(socket.get()),
      received_(std::move(received)),
      watch_(queue, std::move(socket), [this](int) { read(); }) {}

void PromptChannel::send(std::string_view line) {
    const ssize_t sent = ::send(descriptor_, line.data(), line.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent != static_cast<ssize_t>(line.size())) {
        ::shutdown(descriptor_, SHUT_RDWR);
    }
}

/// One line at most: the next is found when this is called again, unless `received_` has destroyed this.
void PromptChannel::read() {
    std::array<char, 4096> bytes{};
    const ssize_t count = ::recv(descriptor_, bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_PEEK);
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) {
        return;
    }
    const auto received = received_; // outlives this
    const std::string_view arrived(bytes.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    if (arrived.empty() || text_.size() > longestLine) {
        received(std::nullopt);
        return;
    }
    const std::size_t end = arrived.find('\n');
    const std::size_t taken = end == std::string_view::npos ? arrived.size() : end + 1;
    ::recv(descriptor_, bytes.data(), taken, MSG_DONTWAIT);
    text_.append(arrived.substr(0, std::min(end, arrived.size())));
    if (end != std::string_view::npos) {
        received(std::exchange(text_, {}));
    }
}

FileDescriptor PromptChannel::connectTo(const std::filesystem::path& path) {
    const std::filesystem::path parent = path.has_parent_path() ? path.parent_path() : ".";
    const FileDescriptor directory(::open(parent.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const auto address =
        addressOf(fmt::format("/proc/self/fd/{}/{}", directory.get(), path.filename().string()));
    if (!directory || !socket || !address ||
        ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&*address), sizeof *address) != 0 ||
        !isSameUser(socket)) {
        return {};
    }
    return socket;
}

bool PromptChannel::isSameUser(const FileDescriptor& socket) {
    ucred peer{};
    socklen_t size = sizeof peer;
    return ::getsockopt(socket.get(), SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 && peer.uid == ::geteuid();
}

} // namespace airplay
