// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dispatch/Realm.h"
#include "platform/dispatch/Timer.h"
#include "platform/lmn/embedded/PlayerProtocol.h"
#include "platform/lmn/embedded/PlayerRoster.h"

#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/streambuf.hpp>

#include <memory>
#include <optional>
#include <vector>

namespace lmn {

/// One player's connection, from its hello to its end. It is held by the operation under way, and by the
/// roster while it has a place there. It harms nobody but itself: whatever goes wrong ends it with one log
/// line, and what was sent plays out. On the server queue.
class PlayerSession : public std::enable_shared_from_this<PlayerSession> {
  public:
    using Socket = boost::asio::local::stream_protocol::socket;

    /// Time for the hello to arrive in.
    static constexpr dispatch::Nanoseconds helloTimeout = std::chrono::seconds(5);

    PlayerSession(dispatch::Realm& realm, dispatch::Queue& queue, std::weak_ptr<PlayerRoster> roster,
                  Socket socket);

    /// Begins. The peer belongs to this user, `pid` is its process.
    void start(std::int32_t pid);

    /// Ends the connection.
    void close();

  private:
    void readHello();
    void takeHello(std::string_view line);
    void refuse(std::string_view reason);
    void answer(std::string_view error, std::function<void()> then);
    void readSamples();
    void takeSamples(std::size_t bytes);
    void samplesWanted();
    void end(std::string_view reason);
    std::string description() const;

    dispatch::Realm& realm_;
    dispatch::Queue& queue_;
    const std::weak_ptr<PlayerRoster> roster_;
    Socket socket_;
    dispatch::Timer helloTimer_;
    LMNProcess process_;
    boost::asio::streambuf line_{longestHello};
    std::string answer_;
    std::optional<PlayerHello> hello_;
    std::optional<PlayerSampleReader> reader_;
    PlayerVoice* voice_ = nullptr; // of the roster, while that lives
    std::vector<std::byte> bytes_;
    std::size_t leftOver_ = 0; // bytes of a frame not yet whole, at the front of `bytes_`
    std::vector<float> frames_;
    bool refused_ = false;
    bool waitsForSpace_ = false;
    bool rubbishLogged_ = false;
    std::shared_ptr<void> debt_; // virtual time waits for this player
};

} // namespace lmn
