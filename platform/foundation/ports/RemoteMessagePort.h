// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dispatch/Queue.h"
#include "platform/foundation/FileDescriptor.h"
#include "platform/foundation/RuntimeDirectory.h"

#include <boost/asio/posix/stream_descriptor.hpp>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace foundation {

/// The sending end of the channel whose receiving end is a `LocalMessagePort` of that name: one connection,
/// for as long as the port at its other end lives.
///
/// Sending never waits. The kernel holds what fits into the socket's buffer: 1 MiB is asked for, which the
/// kernel cuts to net.core.wmem_max and then doubles for its own overhead. Of a message that fits in part the
/// rest is kept here and written when there is space again; until then the queue is full. So at most that
/// buffer and one message wait for a receiver that is behind; and what was accepted arrives whole, once and
/// in order, as long as the receiver lives and this end is not invalidated.
///
/// Shared between its users. Everything on its queue, or while that does not run.
class RemoteMessagePort : public std::enable_shared_from_this<RemoteMessagePort> {
  public:
    enum class SendResult {
        success,     ///< accepted
        sendTimeout, ///< the queue is full: nothing of the message was accepted; the send time-out is 0
        isInvalid,   ///< the port is gone, or this end was invalidated
        tooLarge,    ///< more than `maximumMessage`
    };

    /// nullptr when nobody serves the name (silently), or when whoever does is not this user or cannot be
    /// reached (reported). `queue` outlives the port. `report` takes one line for the log.
    static std::shared_ptr<RemoteMessagePort> create(dispatch::Queue& queue,
                                                     const RuntimeDirectory& runtimeDirectory,
                                                     std::string name,
                                                     std::function<void(std::string)> report);
    ~RemoteMessagePort();
    RemoteMessagePort(const RemoteMessagePort&) = delete;
    RemoteMessagePort& operator=(const RemoteMessagePort&) = delete;

    /// False once the end of the other side was noticed, or after `invalidate()`.
    bool isValid() const { return socket_.is_open(); }

    /// Closes the connection, without the callback being called then or later. What the socket does not take
    /// of a message that waits is lost, and reported. Idempotent.
    void invalidate();

    /// `callback` is called once, in a turn of its own of the queue, when the other side goes; in a later
    /// turn when it has gone already. An empty function for none.
    void setInvalidationCallback(std::function<void()> callback);

    /// `messageID` is any value, `data` any bytes.
    SendResult sendRequest(std::int32_t messageID, std::string_view data);

    const std::string& name() const { return name_; }

  private:
    RemoteMessagePort(dispatch::Queue& queue, FileDescriptor socket, std::string name,
                      std::function<void(std::string)> report);

    void waitForEnd();
    void waitForSpace();
    void otherSideSpoke();
    void spaceCame();
    std::optional<std::size_t> write(std::string_view header, std::string_view data);
    bool flush();
    void endedByOther();
    void announceEnd();
    void callBack();
    void close();

    dispatch::Queue& queue_;
    const std::string name_;
    const std::function<void(std::string)> report_;
    boost::asio::posix::stream_descriptor socket_;
    std::string remainder_;      // of the last accepted message
    std::size_t written_ = 0;    // bytes of the remainder
    bool waitsForSpace_ = false; // the event loop is asked to say when there is space
    bool endedByOther_ = false;
    std::function<void()> invalidationCallback_;
};

} // namespace foundation
