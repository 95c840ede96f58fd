// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dispatch/Queue.h"
#include "platform/foundation/Subscription.h"

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace foundation {

/// A handler that is called until its subscription ends. Shared by the list it is in, its subscription and
/// the calls under way, so that what it captured outlives a call that has begun.
template <typename... Arguments>
class ObserverHandler {
  public:
    explicit ObserverHandler(std::function<void(Arguments...)> handler) : handler_(std::move(handler)) {}

    void call(Arguments... arguments) const {
        if (!ended_.load()) {
            handler_(arguments...);
        }
    }

    void end() { ended_.store(true); }

  private:
    const std::function<void(Arguments...)> handler_;
    std::atomic<bool> ended_{false}; // written by whoever ends the subscription, read by whoever calls
};

/// The observers of a notification centre: who is called for a notification, where, and in which order.
/// `Notification` has a `name` and an `object` that compares with `Object`. Owned by its centre, and for the
/// length of a call by whoever ends a subscription. Any thread; no handler is called under the lock.
template <typename Notification, typename Object>
class ObserverTable : public std::enable_shared_from_this<ObserverTable<Notification, Object>> {
  public:
    using Handler = std::function<void(const Notification&)>;

    /// `object` nullopt: of any object. `queue` nullptr: on the thread that delivers, before it goes on.
    Subscription add(std::string name, std::optional<Object> object, dispatch::Queue* queue,
                     Handler handler) {
        auto observer = std::make_shared<Observer>(std::move(object), queue, std::move(handler));
        {
            const dispatch::LockGuard guard(lock_);
            observers_[name].push_back(observer);
        }
        return Subscription([table = this->weak_from_this(), observer, name = std::move(name)] {
            observer->handler.end();
            if (const auto alive = table.lock()) {
                alive->remove(name, observer);
            }
        });
    }

    /// To all that observe at this moment, in the order in which they subscribed.
    void deliver(Notification&& sent) {
        const auto interested = observersOf(sent);
        if (interested.empty()) {
            return;
        }
        const auto notification = std::make_shared<const Notification>(std::move(sent));
        for (const auto& observer : interested) {
            if (observer->queue == nullptr) {
                observer->handler.call(*notification);
            } else {
                observer->queue->async([observer, notification] { observer->handler.call(*notification); });
            }
        }
    }

  private:
    struct Observer {
        Observer(std::optional<Object> objectToObserve, dispatch::Queue* queueToUse, Handler handlerToCall)
            : object(std::move(objectToObserve)), queue(queueToUse), handler(std::move(handlerToCall)) {}

        const std::optional<Object> object;
        dispatch::Queue* const queue;
        ObserverHandler<const Notification&> handler;
    };
    using Observers = std::vector<std::shared_ptr<Observer>>;

    Observers observersOf(const Notification& notification) const ORB_EXCLUDES(lock_) {
        const dispatch::LockGuard guard(lock_);
        Observers interested;
        const auto named = observers_.find(notification.name);
        if (named == observers_.end()) {
            return interested;
        }
        for (const auto& observer : named->second) {
            if (!observer->object || notification.object == *observer->object) {
                interested.push_back(observer);
            }
        }
        return interested;
    }

    void remove(const std::string& name, const std::shared_ptr<Observer>& observer) ORB_EXCLUDES(lock_) {
        const dispatch::LockGuard guard(lock_);
        const auto named = observers_.find(name);
        std::erase(named->second, observer);
        if (named->second.empty()) {
            observers_.erase(named);
        }
    }

    mutable dispatch::Lock lock_;
    std::map<std::string, Observers, std::less<>> observers_ ORB_GUARDED_BY(lock_);
};

} // namespace foundation
