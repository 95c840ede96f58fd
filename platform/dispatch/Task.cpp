// SPDX-License-Identifier: MIT
#include "platform/dispatch/Task.h"

#include "platform/dispatch/Check.h"
#include "platform/dispatch/Completion.h"
#include "platform/dispatch/WaitPoint.h"

#include <boost/asio/this_coro.hpp>

#include <memory>

namespace dispatch {

Task<Queue*> currentQueue() {
    const auto executor = co_await boost::asio::this_coro::executor;
    const auto* own = executor.target<QueueExecutor>();
    ORB_CHECK(own != nullptr, "a task was started on something that is not a queue");
    co_return &own->queue();
}

Task<> throwIfCancelled() {
    const auto state = co_await boost::asio::this_coro::cancellation_state;
    if (state.cancelled() != boost::asio::cancellation_type::none)
        throw CancellationError();
}

Task<> sleepFor(Nanoseconds duration) {
    Queue& queue = *co_await currentQueue();
    WaitPoint wakeUp(queue);
    co_await wakeUp.wait(queue.clock().now() + duration);
}

Task<> sleepThroughCancellation(Nanoseconds duration) {
    Queue& queue = *co_await currentQueue();
    const auto over = std::make_shared<Completion<bool>>(queue);
    queue.asyncAfter(duration, [over] { over->complete(true); });
    co_await over->wait([] {});
}

} // namespace dispatch
