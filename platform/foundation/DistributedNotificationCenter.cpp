// SPDX-License-Identifier: MIT
#include "platform/foundation/DistributedNotificationCenter.h"

#include "platform/foundation/NotificationDatagram.h"

#include <fmt/format.h>
#include <boost/asio/local/datagram_protocol.hpp>

#include <fcntl.h>
#include <sys/random.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <set>
#include <system_error>
#include <utility>

namespace foundation {
namespace {

using Endpoint = boost::asio::local::datagram_protocol::endpoint;

constexpr const char* subdirectoryName = "notifications";

/// Datagrams taken in before other work of the queue has its turn.
constexpr int datagramsPerTurn = 64;

[[noreturn]] void failWith(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

std::string uniqueFileName() {
    std::uint64_t token = 0;
    if (getrandom(&token, sizeof token, 0) != sizeof token) {
        failWith("random bytes");
    }
    return fmt::format("{}-{:016x}", getpid(), token);
}

FileDescriptor makeSocket() {
    FileDescriptor descriptor(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!descriptor) {
        failWith("notification socket");
    }
    return descriptor;
}

/// nullopt when the path is longer than an address can be.
std::optional<Endpoint> addressOf(const std::string& path) {
    if (path.size() >= sizeof(sockaddr_un::sun_path)) {
        return std::nullopt;
    }
    return Endpoint(path);
}

/// Asks for the senders' credentials before the first datagram can come.
FileDescriptor makeReceiver(const RuntimeDirectory& directory, const std::string& file) {
    FileDescriptor descriptor = makeSocket();
    const int on = 1;
    const std::string coming = "." + file;
    const Endpoint address(directory.socketPathOfComponent(coming));
    if (setsockopt(descriptor.get(), SOL_SOCKET, SO_PASSCRED, &on, sizeof on) != 0 ||
        bind(descriptor.get(), address.data(), static_cast<socklen_t>(address.size())) != 0 ||
        renameat(directory.descriptor(), coming.c_str(), directory.descriptor(), file.c_str()) != 0) {
        failWith((directory.path() / file).string());
    }
    return descriptor;
}

/// Reads the datagrams of one socket. On its queue.
class DatagramReader {
  public:
    using Deliver = std::function<void(DistributedNotification&&)>;

    DatagramReader(Deliver deliver, std::function<void(std::string)> report)
        : deliver_(std::move(deliver)), report_(std::move(report)) {}

    void read(int descriptor) {
        for (int count = 0; count < datagramsPerTurn; ++count) {
            if (!readOne(descriptor)) {
                return;
            }
        }
    }

  private:
    bool readOne(int descriptor) {
        alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(ucred))> control{};
        iovec payload{buffer_.data(), buffer_.size()};
        msghdr message{};
        message.msg_iov = &payload;
        message.msg_iovlen = 1;
        message.msg_control = control.data();
        message.msg_controllen = control.size();
        const ssize_t size = recvmsg(descriptor, &message, MSG_CMSG_CLOEXEC);
        if (size < 0) {
            return false;
        }
        take({buffer_.data(), static_cast<std::size_t>(size)}, message);
        return true;
    }

    void take(std::string_view datagram, const msghdr& message) {
        const ucred sender = senderOf(message);
        if (sender.uid != geteuid()) {
            return reportOnce(fmt::format("of user {}", sender.uid), sender, "was dropped");
        }
        if ((message.msg_flags & MSG_TRUNC) != 0) {
            return reportOnce("malformed", sender, "is too large");
        }
        auto read = notificationOf(datagram);
        if (const auto* malformed = std::get_if<MalformedDatagram>(&read)) {
            return reportOnce("malformed", sender, malformed->reason);
        }
        deliver_(std::get<DistributedNotification>(std::move(read)));
    }

    /// Nobody, where the kernel says nothing.
    static ucred senderOf(const msghdr& message) {
        ucred sender{0, static_cast<uid_t>(-1), static_cast<gid_t>(-1)};
        const cmsghdr* header = CMSG_FIRSTHDR(&message);
        if (header != nullptr && header->cmsg_level == SOL_SOCKET && header->cmsg_type == SCM_CREDENTIALS) {
            std::memcpy(&sender, CMSG_DATA(header), sizeof sender);
        }
        return sender;
    }

    void reportOnce(const std::string& kind, const ucred& sender, const std::string& what) {
        if (reported_.insert(kind).second) {
            report_(fmt::format("distributed notification {} from process {}: {}", kind, sender.pid, what));
        }
    }

    const Deliver deliver_;
    const std::function<void(std::string)> report_;
    std::array<char, DistributedNotificationCenter::maximumDatagram> buffer_{};
    std::set<std::string> reported_;
};

} // namespace

DistributedNotificationCenter::DistributedNotificationCenter(dispatch::Queue& queue,
                                                             const RuntimeDirectory& runtimeDirectory,
                                                             std::function<void(std::string)> report)
    : report_(std::move(report)),
      directory_(runtimeDirectory.subdirectory(subdirectoryName)),
      socketFile_(uniqueFileName()),
      sender_(makeSocket()),
      observers_(std::make_shared<Observers>()) {
    const auto deliver = [observers = observers_](DistributedNotification&& notification) {
        observers->deliver(std::move(notification));
    };
    const auto reader = std::make_shared<DatagramReader>(deliver, report_);
    receiver_.emplace(queue, makeReceiver(directory_, socketFile_),
                      [reader](int descriptor) { reader->read(descriptor); });
}

DistributedNotificationCenter::~DistributedNotificationCenter() { leave(); }

void DistributedNotificationCenter::leave() const {
    unlinkat(directory_.descriptor(), socketFile_.c_str(), 0);
}

void DistributedNotificationCenter::post(const std::string& name, const std::optional<std::string>& object) {
    const std::string datagram = datagramOf({name, object});
    if (datagram.size() > maximumDatagram) {
        return report_(fmt::format("distributed notification {}: {} bytes, more than {}, not sent", name,
                                   datagram.size(), maximumDatagram));
    }
    for (const std::string& receiver : receivers()) {
        sendTo(receiver, datagram, name);
    }
}

Subscription DistributedNotificationCenter::observe(std::string name, std::optional<std::string> object,
                                                    dispatch::Queue& queue, Handler handler) {
    return observers_->add(std::move(name), std::move(object), &queue, std::move(handler));
}

/// In the order of their names, so that a run does not depend on the file system's.
std::vector<std::string> DistributedNotificationCenter::receivers() const {
    std::vector<std::string> files;
    std::error_code error;
    std::filesystem::directory_iterator entry(directory_.socketPathOfComponent("."), error);
    for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
        std::error_code vanished;
        std::string file = entry->path().filename().string();
        if (!file.starts_with('.') && entry->is_socket(vanished)) {
            files.push_back(std::move(file));
        }
    }
    if (error) {
        report_(fmt::format("{}: {}", directory_.path().string(), error.message()));
    }
    std::ranges::sort(files);
    return files;
}

void DistributedNotificationCenter::sendTo(const std::string& receiver, const std::string& datagram,
                                           const std::string& name) const {
    const std::optional<Endpoint> address = addressOf(directory_.socketPathOfComponent(receiver));
    if (!address) {
        return report_(
            fmt::format("{}: the name is too long for a receiver", (directory_.path() / receiver).string()));
    }
    if (sendto(sender_.get(), datagram.data(), datagram.size(), MSG_NOSIGNAL, address->data(),
               static_cast<socklen_t>(address->size())) >= 0) {
        return;
    }
    const int error = errno;
    if (error == ECONNREFUSED) {
        unlinkat(directory_.descriptor(), receiver.c_str(), 0);
    } else if (error == EAGAIN || error == ENOBUFS) {
        report_(fmt::format("distributed notification {}: the queue of process {} is full, it misses this",
                            name, receiver));
    } else if (error != ENOENT) {
        report_(fmt::format("distributed notification {}: {}: {}", name, receiver,
                            std::generic_category().message(error)));
    }
}

} // namespace foundation
