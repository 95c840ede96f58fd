// SPDX-License-Identifier: MIT
#include "platform/foundation/ports/LocalMessagePort.h"

#include "platform/foundation/ports/MessageFrames.h"
#include "platform/foundation/ports/OnceReady.h"
#include "platform/foundation/ports/PortPlace.h"

#include <fmt/format.h>

#include <array>
#include <cerrno>
#include <span>
#include <system_error>
#include <utility>
#include <vector>

namespace foundation {
namespace {

using Descriptor = boost::asio::posix::stream_descriptor;

/// Before the next attempt, after a connection could not be accepted (for want of descriptors, say).
constexpr dispatch::Nanoseconds acceptPause = std::chrono::seconds(1);

/// Connections accepted, and pieces read of one connection, before other work of the queue has its turn.
constexpr int acceptsPerTurn = 64;
constexpr int readsPerTurn = 4;

constexpr std::size_t readSize = std::size_t{64} * 1024;

void closeNow(Descriptor& descriptor) {
    boost::system::error_code ignored;
    descriptor.close(ignored); // whatever it says, the descriptor is gone
}

} // namespace

/// What stands behind a port. It outlives the port only by the callout in which that was destroyed. On the
/// queue, or while that does not run.
class LocalMessagePort::State : public std::enable_shared_from_this<State> {
  public:
    State(dispatch::Queue& queue, PortPlace place, FileDescriptor listener, std::string name, Callout callout,
          std::function<void(std::string)> report)
        : queue_(queue),
          name_(std::move(name)),
          callout_(std::move(callout)),
          report_(std::move(report)),
          place_(std::move(place)),
          listener_(queue.ioContext(), listener.get()) {
        listener.release();
    }

    const std::string& name() const { return name_; }
    dispatch::Queue& queue() const { return queue_; }

    void waitForSender() {
        if (listener_.is_open()) {
            onceReady(listener_, Descriptor::wait_read, queue_, weak_from_this(), &State::accept);
        }
    }

    void end();

    void deliver(std::int32_t messageID, std::string data) { callout_(messageID, std::move(data)); }

    void report(const std::string& what) const {
        report_(fmt::format("message port \"{}\": {}", name_, what));
    }

  private:
    class Connection;

    void accept();
    void tryToAdmit(FileDescriptor socket);
    void admit(FileDescriptor socket);
    void forget(const Connection& connection);

    dispatch::Queue& queue_;
    const std::string name_;
    const Callout callout_;
    const std::function<void(std::string)> report_;
    PortPlace place_;
    Descriptor listener_;
    std::vector<std::shared_ptr<Connection>> connections_;
};

/// One sender's connection. Held by the port until either side closes it.
class LocalMessagePort::State::Connection : public std::enable_shared_from_this<Connection> {
  public:
    Connection(const std::shared_ptr<State>& port, FileDescriptor socket, pid_t process)
        : port_(port), process_(process), socket_(port->queue().ioContext(), socket.get()) {
        socket.release();
    }

    void wait() {
        if (const auto port = port_.lock(); port && socket_.is_open()) {
            onceReady(socket_, Descriptor::wait_read, port->queue(), weak_from_this(), &Connection::read);
        }
    }

    void close() { closeNow(socket_); }

  private:
    void read() {
        std::array<std::byte, readSize> bytes{};
        for (int count = 0; count < readsPerTurn && socket_.is_open(); ++count) {
            const ssize_t size = recv(socket_.native_handle(), bytes.data(), bytes.size(), MSG_DONTWAIT);
            if (size < 0 && (errno == EAGAIN || errno == EINTR)) {
                break;
            }
            if (size <= 0) {
                return finish(frames_.isBetweenFrames() ? "" : "its end came in the middle of a message");
            }
            take({bytes.data(), static_cast<std::size_t>(size)});
        }
        wait();
    }

    void take(std::span<const std::byte> bytes) {
        try {
            frames_.feed(bytes);
        } catch (const FramingError& error) {
            finish(error.what());
        }
    }

    void deliver(std::int32_t messageID, std::string data) {
        if (const auto port = port_.lock()) { // none, once a message before has destroyed the port
            port->deliver(messageID, std::move(data));
        }
    }

    /// `fault` is empty where there is none.
    void finish(const std::string& fault) {
        close();
        if (const auto port = port_.lock()) {
            if (!fault.empty()) {
                port->report(fmt::format("the connection of process {} was closed: {}", process_, fault));
            }
            port->forget(*this);
        }
    }

    const std::weak_ptr<State> port_;
    const pid_t process_;
    Descriptor socket_;
    MessageFrames frames_{
        [this](std::int32_t messageID, std::string data) { deliver(messageID, std::move(data)); }};
};

void LocalMessagePort::State::end() {
    try {
        place_.release();
    } catch (const std::exception& error) {
        report(error.what()); // what is left is a dead socket, of which the next owner thinks nothing
    }
    closeNow(listener_);
    for (const auto& connection : connections_) {
        connection->close();
    }
    connections_.clear();
}

void LocalMessagePort::State::accept() {
    for (int count = 0; count < acceptsPerTurn; ++count) {
        FileDescriptor socket(
            accept4(listener_.native_handle(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
        if (socket) {
            tryToAdmit(std::move(socket));
        } else if (errno == EAGAIN || errno == EINTR || errno == ECONNABORTED) {
            break;
        } else {
            report(std::generic_category().message(errno) + ", a sender has to wait");
            queue_.asyncAfter(acceptPause, [weak = weak_from_this()] {
                if (const auto self = weak.lock()) {
                    self->waitForSender();
                }
            });
            return;
        }
    }
    waitForSender();
}

void LocalMessagePort::State::tryToAdmit(FileDescriptor socket) {
    try {
        admit(std::move(socket));
    } catch (const std::exception& error) { // the event loop cannot watch one more, say
        report(fmt::format("a sender was turned away: {}", error.what()));
    }
}

void LocalMessagePort::State::admit(FileDescriptor socket) {
    const ucred peer = peerOf(socket);
    if (peer.uid != geteuid()) {
        return report(fmt::format("process {} of user {} was turned away", peer.pid, peer.uid));
    }
    if (connections_.size() == maximumConnections) {
        return report(fmt::format("process {} was turned away: {} connections are enough", peer.pid,
                                  maximumConnections));
    }
    connections_.push_back(std::make_shared<Connection>(shared_from_this(), std::move(socket), peer.pid));
    connections_.back()->wait();
}

void LocalMessagePort::State::forget(const Connection& connection) {
    std::erase_if(connections_, [&](const auto& held) { return held.get() == &connection; });
}

std::unique_ptr<LocalMessagePort> LocalMessagePort::create(dispatch::Queue& queue,
                                                           const RuntimeDirectory& runtimeDirectory,
                                                           std::string name, Callout callout,
                                                           std::function<void(std::string)> report) {
    try {
        PortPlace place(runtimeDirectory, name);
        FileDescriptor listener = place.claim(maximumConnections);
        const auto state = std::make_shared<State>(queue, std::move(place), std::move(listener), name,
                                                   std::move(callout), report);
        queue.async([weak = std::weak_ptr(state)] {
            if (const auto alive = weak.lock()) {
                alive->waitForSender();
            }
        });
        return std::unique_ptr<LocalMessagePort>(new LocalMessagePort(state));
    } catch (const std::exception& error) {
        report(fmt::format("message port \"{}\" cannot be made: {}", name, error.what()));
        return nullptr;
    }
}

LocalMessagePort::LocalMessagePort(std::shared_ptr<State> state) : state_(std::move(state)) {}

LocalMessagePort::~LocalMessagePort() { state_->end(); }

const std::string& LocalMessagePort::name() const { return state_->name(); }

} // namespace foundation
