// SPDX-License-Identifier: MIT
#pragma once

#include "platform/foundation/ObserverTable.h"

#include <deque>

namespace foundation {

/// Whether a new observer is first called with the value as it is.
enum class Initial { skip, deliver };

/// A value that can be observed: a property of an object that is shared between threads. `Value` is copyable
/// and comparable. Owned by the object it is a property of; a subscription may outlive it.
///
/// Any thread may call every operation, also from a handler. A set that leaves the value equal to what it was
/// calls nobody. Otherwise each observer is called with the new value, in the order of subscription, on the
/// thread that sets, before the set returns; all observers see all changes in the order in which they were
/// made. Two cases bend that rule to keep it free of waiting: a change made while observers are being called
/// (by one of them, or by another thread) is delivered by the thread that is calling them, after what it is
/// delivering; so may be the initial value. `get` always shows the latest change. No lock is held during a
/// call. Handlers do not throw.
template <typename Value>
class Observable {
  public:
    using Handler = std::function<void(const Value&)>;

    explicit Observable(Value initial = {}) : state_(std::make_shared<State>(std::move(initial))) {}
    Observable(const Observable&) = delete;
    Observable& operator=(const Observable&) = delete;

    Value get() const { return state_->get(); }

    /// True when the value changed.
    bool set(Value value) {
        return update([&value](Value& current) { current = std::move(value); });
    }

    /// Changes the value in place, in one step; true when it changed. `change` takes a `Value&`, is called
    /// under the lock and must be short and touch nothing else.
    template <typename Change>
    bool update(Change&& change) {
        const std::shared_ptr<State> state = state_; // an observer may destroy this object
        const bool changed = state->update(std::forward<Change>(change));
        state->deliverPending();
        return changed;
    }

    Subscription observe(Handler handler, Initial initial = Initial::skip) {
        const std::shared_ptr<State> state = state_;
        auto observer = std::make_shared<Observer>(std::move(handler));
        state->add(observer, initial);
        state->deliverPending();
        return Subscription([weak = std::weak_ptr(state), observer] {
            observer->end();
            if (const auto alive = weak.lock()) {
                alive->remove(observer);
            }
        });
    }

  private:
    using Observer = ObserverHandler<const Value&>;
    using Observers = std::vector<std::shared_ptr<Observer>>;

    /// A value on its way, and those it is for: who subscribes later has it from `get`.
    struct Delivery {
        Value value;
        Observers observers;
    };

    class State {
      public:
        explicit State(Value initial) : value_(std::move(initial)) {}

        Value get() const {
            const dispatch::LockGuard guard(lock_);
            return value_;
        }

        template <typename Change>
        bool update(Change&& change) {
            const dispatch::LockGuard guard(lock_);
            Value next = value_;
            change(next);
            if (next == value_) {
                return false;
            }
            value_ = std::move(next);
            if (!observers_.empty()) {
                pending_.push_back({value_, observers_});
            }
            return true;
        }

        void add(const std::shared_ptr<Observer>& observer, Initial initial) {
            const dispatch::LockGuard guard(lock_);
            observers_.push_back(observer);
            if (initial == Initial::deliver) {
                pending_.push_back({value_, {observer}});
            }
        }

        void remove(const std::shared_ptr<Observer>& observer) {
            const dispatch::LockGuard guard(lock_);
            std::erase(observers_, observer);
        }

        void deliverPending() noexcept {
            bool first = true;
            while (const std::optional<Delivery> next = takePending(std::exchange(first, false))) {
                for (const auto& observer : next->observers) {
                    observer->call(next->value);
                }
            }
        }

      private:
        /// Nothing to `entering` threads while another (or an outer call of the same) delivers.
        std::optional<Delivery> takePending(bool entering) {
            const dispatch::LockGuard guard(lock_);
            if (entering && delivering_) {
                return std::nullopt;
            }
            delivering_ = !pending_.empty();
            if (!delivering_) {
                return std::nullopt;
            }
            Delivery next = std::move(pending_.front());
            pending_.pop_front();
            return next;
        }

        mutable dispatch::Lock lock_;
        Value value_ ORB_GUARDED_BY(lock_);
        Observers observers_ ORB_GUARDED_BY(lock_);
        std::deque<Delivery> pending_ ORB_GUARDED_BY(lock_);
        bool delivering_ ORB_GUARDED_BY(lock_) = false;
    };

    const std::shared_ptr<State> state_;
};

} // namespace foundation
