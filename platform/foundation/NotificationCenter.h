// SPDX-License-Identifier: MIT
#pragma once

#include "platform/foundation/ObserverTable.h"

#include <boost/json/object.hpp>

#include <functional>
#include <memory>
#include <string>

namespace foundation {

/// What happened (`name`), to whom (`object`, an identity that is only compared; may be null), and details.
struct Notification {
    std::string name;
    const void* object = nullptr;
    boost::json::object userInfo;
};

/// Notifications within the process. Built by the composition root, which also outlives its users; a
/// subscription may outlive it. Every operation may be called from any thread, also by a handler.
class NotificationCenter {
  public:
    using Handler = std::function<void(const Notification&)>;

    NotificationCenter();

    /// Calls the observers of this moment in the order in which they subscribed: those without a queue before
    /// this returns, the others later, on their queues. A handler that posts has its notification delivered
    /// whole before the outer one goes on; posts of one thread arrive in their order.
    void post(std::string name, const void* object = nullptr, boost::json::object userInfo = {});

    /// Observes `name`, of `object` alone or, when it is nullptr, of any object. The handler runs on `queue`,
    /// which outlives the subscription, or on the poster's thread when `queue` is nullptr. It does not throw.
    /// For what the end of the subscription promises see `Subscription`.
    Subscription observe(std::string name, const void* object, dispatch::Queue* queue, Handler handler);

  private:
    const std::shared_ptr<ObserverTable<Notification, const void*>> observers_;
};

} // namespace foundation
