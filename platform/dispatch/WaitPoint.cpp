// SPDX-License-Identifier: MIT
#include "platform/dispatch/WaitPoint.h"

#include "platform/dispatch/Check.h"

#include <boost/asio/associated_cancellation_slot.hpp>
#include <boost/asio/async_result.hpp>
#include <boost/asio/use_awaitable.hpp>

#include <utility>

namespace dispatch {

WaitPoint::WaitPoint(Queue& queue)
    : timer_(queue, [this] { finish(cancelled_ ? Outcome::cancelled : Outcome::timedOut); }) {}

Task<bool> WaitPoint::wait(std::optional<HostTime> deadline) {
    co_await throwIfCancelled();
    ORB_CHECK(!isAwaited(), "two tasks wait at one point of queue \"{}\"", timer_.queue().label());
    const auto initiate = [this, deadline](auto handler) { begin(std::move(handler), deadline); };
    const Outcome outcome =
        co_await boost::asio::async_initiate<const boost::asio::use_awaitable_t<>, void(Outcome)>(
            initiate, boost::asio::use_awaitable);
    if (outcome == Outcome::cancelled)
        throw CancellationError();
    co_return outcome == Outcome::notified;
}

template <typename CompletionHandler>
void WaitPoint::begin(CompletionHandler handler, std::optional<HostTime> deadline) {
    slot_ = boost::asio::get_associated_cancellation_slot(handler);
    if (slot_.is_connected()) {
        // The task goes on in a turn of its own, not inside whatever cancels it.
        slot_.assign([this](boost::asio::cancellation_type) {
            cancelled_ = true;
            timer_.armAfter(Nanoseconds{0});
        });
    }
    cancelled_ = false;
    resume_ = [this, handler = std::move(handler)]() mutable { std::move(handler)(outcome_); };
    if (deadline)
        timer_.armAt(*deadline);
}

void WaitPoint::finish(Outcome outcome) {
    if (!isAwaited())
        return;
    timer_.cancel();
    if (slot_.is_connected())
        slot_.clear();
    outcome_ = outcome;
    std::exchange(resume_, Work{})();
}

} // namespace dispatch
