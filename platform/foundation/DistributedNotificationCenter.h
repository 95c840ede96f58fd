// SPDX-License-Identifier: MIT
#pragma once

#include "platform/foundation/DescriptorWatch.h"
#include "platform/foundation/ObserverTable.h"
#include "platform/foundation/RuntimeDirectory.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace foundation {

/// What happened, and a text that says to whom.
struct DistributedNotification {
    std::string name;
    std::optional<std::string> object;
};

/// Notifications to every process of the user, this one included.
///
/// Each centre has a datagram Unix socket in the subdirectory `notifications` of the runtime directory, and
/// thereby is registered. Its file name is of at most 80 bytes and does not begin with a dot; ours is
/// `<process id>-<16 random hexadecimal digits>`, never used twice. It is bound under a name that does begin
/// with a dot and then renamed, so that no sender meets, and removes as dead, a socket that is only coming
/// up.
///
/// A post sends one datagram to each socket found there. The datagram is a JSON object of at most
/// `maximumDatagram` bytes, UTF-8, nested at most 8 deep:
///
///     {"version": 1, "name": "ORBConfigurationDidChange", "object": "com.example.device"}
///
/// `version` is the integer 1; `name` a text that is not empty; `object` a text, null or absent; other
/// members are ignored. A datagram of another user is dropped, so is one that does not read as said; the
/// first of each kind is reported.
///
/// Nothing is acknowledged. A receiver whose queue is full (the kernel holds net.unix.max_dgram_qlen
/// datagrams, 10 by default, per receiver) misses the notification, and the sender reports it; the sender
/// never waits. The socket of a process that died is removed by the next sender that finds it.
///
/// Built by the composition root and destroyed on the queue it reads on, or while that queue is not running.
class DistributedNotificationCenter {
  public:
    using Handler = std::function<void(const DistributedNotification&)>;

    static constexpr std::size_t maximumDatagram = 16 * 1024;

    /// Reads on `queue`. `report` takes one line for the log; called on any thread that posts and on `queue`.
    /// Throws RuntimeDirectoryError, or std::system_error when no socket can be made.
    DistributedNotificationCenter(dispatch::Queue& queue, const RuntimeDirectory& runtimeDirectory,
                                  std::function<void(std::string)> report);
    ~DistributedNotificationCenter();

    /// Removes the socket: no other process is heard any more. For whoever ends the process at once. Any
    /// thread.
    void leave() const;

    DistributedNotificationCenter(const DistributedNotificationCenter&) = delete;
    DistributedNotificationCenter& operator=(const DistributedNotificationCenter&) = delete;

    /// Sends to every registered process. Any thread; the posts of one thread arrive in their order. What
    /// cannot be sent is reported.
    void post(const std::string& name, const std::optional<std::string>& object = std::nullopt);

    /// Observes `name`, of `object` alone or, for nullopt, of any object. The handler runs on `queue`, which
    /// outlives the subscription; handlers of one queue in the order in which they subscribed. Any thread.
    Subscription observe(std::string name, std::optional<std::string> object, dispatch::Queue& queue,
                         Handler handler);

  private:
    using Observers = ObserverTable<DistributedNotification, std::string>;

    std::vector<std::string> receivers() const;
    void sendTo(const std::string& receiver, const std::string& datagram, const std::string& name) const;

    const std::function<void(std::string)> report_;
    const RuntimeDirectory directory_;
    const std::string socketFile_;
    const FileDescriptor sender_;
    const std::shared_ptr<Observers> observers_;
    std::optional<DescriptorWatch> receiver_;
};

} // namespace foundation
