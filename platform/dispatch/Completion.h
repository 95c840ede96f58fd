// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dispatch/Check.h"
#include "platform/dispatch/Task.h"

#include <boost/asio/associated_cancellation_slot.hpp>
#include <boost/asio/async_result.hpp>
#include <boost/asio/use_awaitable.hpp>

#include <functional>
#include <memory>
#include <optional>
#include <utility>

namespace dispatch {

/// One value, handed by any thread to the one task that waits for it. Shared by both sides.
///
/// A cancellation of the waiting task does not end the wait; it is told to `cancelled`, which usually
/// completes it. So whoever decides first that the wait is over, decides its result.
template <typename Value>
class Completion : public std::enable_shared_from_this<Completion<Value>> {
  public:
    /// `queue` is where the task waits.
    explicit Completion(Queue& queue) : queue_(queue) {}
    Completion(const Completion&) = delete;
    Completion& operator=(const Completion&) = delete;

    /// Lets the task go on in a later turn of its queue. Called once; any thread.
    void complete(Value value) {
        queue_.async([self = this->shared_from_this(), value = std::move(value)]() mutable {
            self->deliver(std::move(value));
        });
    }

    /// Waits for the value. `cancelled` is called on the queue when the task is cancelled while it waits.
    Task<Value> wait(std::function<void()> cancelled) {
        queue_.assertCurrent();
        if (!value_) {
            const auto initiate = [this, &cancelled](auto handler) {
                this->begin(std::move(handler), std::move(cancelled));
            };
            co_await boost::asio::async_initiate<const boost::asio::use_awaitable_t<>, void()>(
                initiate, boost::asio::use_awaitable);
        }
        co_return std::move(*value_);
    }

  private:
    template <typename CompletionHandler>
    void begin(CompletionHandler handler, std::function<void()> cancelled) {
        ORB_CHECK(!resume_, "two tasks wait for one completion of queue \"{}\"", queue_.label());
        slot_ = boost::asio::get_associated_cancellation_slot(handler);
        if (slot_.is_connected()) {
            slot_.assign([cancelled = std::move(cancelled)](boost::asio::cancellation_type) { cancelled(); });
        }
        resume_ = [handler = std::move(handler)]() mutable { std::move(handler)(); };
    }

    void deliver(Value value) {
        ORB_CHECK(!value_, "a completion of queue \"{}\" is completed twice", queue_.label());
        value_ = std::move(value);
        if (slot_.is_connected()) {
            slot_.clear();
        }
        if (resume_) {
            std::exchange(resume_, Work{})();
        }
    }

    Queue& queue_;
    std::optional<Value> value_; // this and the rest: of the queue
    Work resume_;                // lets the waiting task go on
    boost::asio::cancellation_slot slot_;
};

} // namespace dispatch
