// SPDX-License-Identifier: MIT
#pragma once

#include "platform/airplay/Secret.h"

#include <memory>

namespace airplay {

class Receiver;

/// Hears how a connection fares. Every call comes on the main queue, never from within an operation of the
/// receiver or the connection; any of them may drop the connection.
class ReceiverConnectionDelegate {
  public:
    /// The receiver wants to be answered; again after an answer that was wrong.
    virtual void secretWanted(SecretKind kind) = 0;

    /// The receiver can be played to. `as` is the one that turned up, usually the one that was asked.
    virtual void connected(std::shared_ptr<Receiver> as) = 0;

    /// It will not. The last call.
    virtual void refused() = 0;

    /// It is there no longer: it went away, or has let go after `disconnect`. The last call.
    virtual void lost() = 0;

  protected:
    ~ReceiverConnectionDelegate() = default;
};

/// A connection to one receiver, from the attempt on. It may stay silent for ever; how long to wait is for
/// its owner to know. Owned by whoever wants it; main queue. Destroying it ends it at once, without a call.
class ReceiverConnection {
  public:
    ReceiverConnection() = default;
    virtual ~ReceiverConnection() = default;
    ReceiverConnection(const ReceiverConnection&) = delete;
    ReceiverConnection& operator=(const ReceiverConnection&) = delete;

    /// The answer to `secretWanted`.
    virtual void answer(const Secret& secret) = 0;

    /// Lets the receiver go in its own time: `lost` follows.
    virtual void disconnect() = 0;
};

} // namespace airplay
