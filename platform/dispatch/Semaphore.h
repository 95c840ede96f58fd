// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dispatch/Signal.h"
#include "platform/dispatch/Task.h"
#include "platform/dispatch/WaitPoint.h"

#include <atomic>
#include <cstdint>

namespace dispatch {

/// A counting semaphore on which a task of one queue waits, and which any thread may signal. The waiting
/// task is suspended; no thread is held.
class Semaphore {
  public:
    /// `waiterQueue` is where `wait` is called; `count` the initial count, zero or more.
    Semaphore(Queue& waiterQueue, std::int64_t count);
    ~Semaphore();

    /// Any thread, real-time ones included: takes no lock of ours, allocates nothing.
    void signal() noexcept;

    /// Takes one, at once or after waiting for at most `timeout` from this call on; false when none came. On
    /// the waiters' queue, one task at a time. The semaphore may go before the result is awaited. Throws
    /// `CancellationError`.
    Task<bool> wait(Nanoseconds timeout);

  private:
    /// Shared with a signal or a waiter that is under way when the semaphore goes.
    struct State;
    static Task<bool> waitOn(std::shared_ptr<State> state, HostTime deadline);

    const std::shared_ptr<State> state_;
    Queue& queue_;
    Signal wakeUp_;
};

} // namespace dispatch
