// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dispatch/Queue.h"
#include "platform/foundation/RuntimeDirectory.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace foundation {

/// The receiving end of a named one-way channel between processes of one user.
///
/// The port listens on the stream Unix socket `pathComponentOf(name)` in the subdirectory `ports` of the
/// runtime directory. Any number of senders connect, up to `maximumConnections` at once; the port never
/// writes. Each sender writes 8 ASCII bytes, `ORBPORT1`, and then messages:
///
///     length      uint32, little-endian     bytes of data, at most 16 MiB
///     message id  int32, little-endian      any value
///     data        `length` bytes
///
/// The messages of one sender arrive in order. A sender that does not keep to this, breaks off within a
/// message, belongs to another user or is one too many is reported, and its connection closed; the others are
/// not harmed. Senders see the port's death as the end of their connection.
///
/// A name has one live owner; that of a dead one is free at once. Claims are serialised by an flock of the
/// directory `ports` itself, so that no lock file is left behind.
///
/// Owned by whoever takes the messages.
class LocalMessagePort {
  public:
    /// On the port's queue. May destroy the port; does not throw.
    using Callout = std::function<void(std::int32_t messageID, std::string data)>;

    static constexpr std::size_t maximumConnections = 64;

    /// nullptr, and a reported line, when the name is in use, when something other than a socket has its
    /// place, or when the socket cannot be made. `queue` outlives the port. `report` takes one line for the
    /// log, here or on the queue. Any thread.
    static std::unique_ptr<LocalMessagePort> create(dispatch::Queue& queue,
                                                    const RuntimeDirectory& runtimeDirectory,
                                                    std::string name, Callout callout,
                                                    std::function<void(std::string)> report);

    /// Gives the name back and closes all connections. On the queue, or while the queue does not run. No
    /// callout begins afterwards.
    ~LocalMessagePort();
    LocalMessagePort(const LocalMessagePort&) = delete;
    LocalMessagePort& operator=(const LocalMessagePort&) = delete;

    const std::string& name() const;

  private:
    class State;
    explicit LocalMessagePort(std::shared_ptr<State> state);

    const std::shared_ptr<State> state_;
};

} // namespace foundation
