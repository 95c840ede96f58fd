// SPDX-License-Identifier: MIT
#include "platform/dispatch/Semaphore.h"

namespace dispatch {

struct Semaphore::State {
    State(Queue& queue, std::int64_t initial) : count(initial), point(queue) {}

    bool tryTake() {
        std::int64_t seen = count.load();
        while (seen > 0)
            if (count.compare_exchange_weak(seen, seen - 1))
                return true;
        return false;
    }

    std::atomic<std::int64_t> count; // raised by anybody, taken by the waiters' queue
    WaitPoint point;
};

Semaphore::Semaphore(Queue& waiterQueue, std::int64_t count)
    : state_(std::make_shared<State>(waiterQueue, count)),
      queue_(waiterQueue),
      wakeUp_(waiterQueue, [state = state_] { state->point.notify(); }) {}

Semaphore::~Semaphore() = default;

void Semaphore::signal() noexcept {
    state_->count.fetch_add(1);
    wakeUp_.raise();
}

Task<bool> Semaphore::wait(Nanoseconds timeout) { return waitOn(state_, queue_.clock().now() + timeout); }

Task<bool> Semaphore::waitOn(std::shared_ptr<State> state, HostTime deadline) {
    while (!state->tryTake()) {
        const bool signalled = co_await state->point.wait(deadline);
        if (!signalled)
            co_return state->tryTake();
    }
    co_return true;
}

} // namespace dispatch
