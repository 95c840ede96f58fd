// SPDX-License-Identifier: MIT
#include "platform/lmn/embedded/EmbeddedAudioServer.h"

#include "platform/dispatch/Task.h"
#include "platform/foundation/DirectoryLock.h"
#include "platform/lmn/LMNLog.h"
#include "platform/lmn/embedded/PlayerSession.h"

#include <fmt/format.h>
#include <boost/asio/bind_executor.hpp>
#include <boost/asio/local/stream_protocol.hpp>

#include <sys/socket.h>
#include <unistd.h>

#include <utility>
#include <vector>

namespace lmn {
namespace {

using Protocol = boost::asio::local::stream_protocol;
using boost::system::error_code;

/// Between two attempts to accept a player.
constexpr dispatch::Nanoseconds acceptPause = std::chrono::seconds(1);

/// Who is at the other end, as the kernel knows it.
std::optional<ucred> peerOf(Protocol::socket& socket) {
    ucred credentials{};
    socklen_t size = sizeof credentials;
    if (::getsockopt(socket.native_handle(), SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0)
        return std::nullopt;
    return credentials;
}

/// Whether somebody listens at an address where a socket file already is. One that is stopped, its queue
/// full, lives too.
bool isAlive(boost::asio::io_context& context, const Protocol::endpoint& endpoint) {
    Protocol::socket probe(context);
    probe.open();
    probe.non_blocking(true);
    error_code refused;
    probe.connect(endpoint, refused);
    return !refused || refused == boost::asio::error::would_block || refused == boost::asio::error::try_again;
}

} // namespace

/// The listening socket of one device. On the server queue.
class EmbeddedAudioServer::Door : public std::enable_shared_from_this<Door> {
  public:
    Door(dispatch::Realm& realm, dispatch::Queue& queue, const std::shared_ptr<PlayerRoster>& roster)
        : realm_(realm),
          queue_(queue),
          device_(roster->device()),
          roster_(roster),
          acceptor_(queue.ioContext()) {}

    /// Throws boost::system::system_error, foundation::RuntimeDirectoryError, AudioServerError.
    void open() {
        const foundation::DirectoryLock lock(device_->directory()); // of two that come at once
        const Protocol::endpoint endpoint(device_->directory().socketPath(playerSocketName));
        if (isAlive(queue_.ioContext(), endpoint))
            throw AudioServerError("another process serves it already");
        device_->directory().remove(playerSocketName); // left by a process that was killed
        acceptor_.open();
        acceptor_.bind(endpoint);
        acceptor_.listen();
        bound_ = true;
        accept();
    }

    void close() {
        error_code ignored;
        acceptor_.close(ignored);
        for (const auto& weak : sessions_)
            if (const auto session = weak.lock())
                session->close();
        if (std::exchange(bound_, false))
            device_->directory().discard(playerSocketName);
    }

  private:
    void accept() {
        acceptor_.async_accept(boost::asio::bind_executor(
            dispatch::QueueExecutor(queue_),
            [self = shared_from_this()](const error_code& error, Protocol::socket socket) {
                if (error == boost::asio::error::operation_aborted || !self->acceptor_.is_open())
                    return;
                if (error)
                    return self->acceptLater(error);
                self->welcome(std::move(socket));
                self->accept();
            }));
    }

    /// What fails now (for want of descriptors, say) would fail again at once.
    void acceptLater(const error_code& error) {
        LMNLog(4, fmt::format("audio server: cannot accept a player: {}\n", error.message()));
        queue_.asyncAfter(acceptPause, [weak = weak_from_this()] {
            if (const auto self = weak.lock(); self && self->acceptor_.is_open())
                self->accept();
        });
    }

    void welcome(Protocol::socket socket) {
        const std::optional<ucred> peer = peerOf(socket);
        if (!peer || peer->uid != ::geteuid())
            return LMNLog(4, "audio server: a process of another user was turned away\n");
        std::erase_if(sessions_, [](const auto& weak) { return weak.expired(); });
        const auto session = std::make_shared<PlayerSession>(realm_, queue_, roster_, std::move(socket));
        sessions_.push_back(session);
        session->start(peer->pid);
    }

    dispatch::Realm& realm_;
    dispatch::Queue& queue_;
    const std::shared_ptr<LMNDevice> device_;
    const std::weak_ptr<PlayerRoster> roster_;
    Protocol::acceptor acceptor_;
    std::vector<std::weak_ptr<PlayerSession>> sessions_;
    bool bound_ = false;
};

EmbeddedAudioServer::EmbeddedAudioServer(dispatch::Realm& realm)
    : realm_(realm), queue_(realm.makeQueue("lmn.server")) {}

EmbeddedAudioServer::~EmbeddedAudioServer() {
    queue_->sync([] {}); // the doors of devices just dropped close first
}

std::shared_ptr<ServedDevice> EmbeddedAudioServer::serve(const std::shared_ptr<LMNDevice>& device) {
    std::weak_ptr<PlayerRoster>& served = served_[device->deviceUID()];
    std::shared_ptr<PlayerRoster> roster = served.lock();
    if (!roster) {
        roster = openDoor(device);
        served = roster;
    }
    return roster;
}

std::shared_ptr<PlayerRoster> EmbeddedAudioServer::openDoor(const std::shared_ptr<LMNDevice>& device) {
    // The door closes on its queue, whoever drops the device last.
    auto* roster = new PlayerRoster(device, *queue_);
    const auto door = std::make_shared<std::shared_ptr<Door>>();
    std::shared_ptr<PlayerRoster> owner(roster, [door, queue = queue_.get()](PlayerRoster* last) {
        queue->async([door, last] {
            if (*door)
                (*door)->close();
            door->reset(); // it refers back to what holds this
            delete last;
        });
    });
    std::string failure;
    queue_->sync([&] {
        try {
            *door = std::make_shared<Door>(realm_, *queue_, owner);
            (*door)->open();
        } catch (const std::exception& error) {
            failure = error.what();
        }
    });
    if (!failure.empty())
        throw AudioServerError(fmt::format("cannot serve {}: {}", device->description(), failure));
    return owner;
}

std::uint64_t EmbeddedAudioServer::underruns() const {
    std::uint64_t sum = 0;
    for (const auto& [uid, weak] : served_)
        if (const auto roster = weak.lock())
            sum += roster->underruns();
    return sum;
}

} // namespace lmn
