// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dispatch/Queue.h"

#include <functional>
#include <memory>
#include <string>

namespace dispatch {

/// Where time passes and work runs: one clock, one main queue, and as many serial queues as are asked for.
/// A process is built on one realm, real (`RealRealm`) or virtual (`VirtualRealm`); a realm outlives all that
/// was built on it. Operations may be called from any thread.
class Realm {
  public:
    Realm() = default;
    virtual ~Realm() = default;
    Realm(const Realm&) = delete;
    Realm& operator=(const Realm&) = delete;

    virtual const Clock& clock() const = 0;
    virtual Queue& mainQueue() = 0;

    /// A new serial queue. `label` names its thread (the first 15 bytes of it) and stands in reports.
    virtual std::unique_ptr<Queue> makeQueue(std::string label) = 0;

    /// What the outside world owes to this realm. Real time does not wait for it. Virtual time stands still
    /// until `settled()` is true, since outside no virtual time passes: what another process sends
    /// therefore always arrives "at once", and a run depends on it in content only, never in timing.
    /// Lives until the returned token is destroyed; `settled` is called on the realm's one thread.
    virtual std::shared_ptr<void> awaitOutside(std::string what, std::function<bool()> settled) = 0;
};

} // namespace dispatch
