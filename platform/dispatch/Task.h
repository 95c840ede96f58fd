// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dispatch/Queue.h"

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/awaitable.hpp>
#include <boost/asio/execution.hpp>

#include <exception>

namespace dispatch {

/// An asynchronous operation on a queue. It runs like a piece of the queue's work between two `co_await`s
/// and lets other work of the queue run at each of them.
///
/// A task is started by a `TaskGroup`. It is never a lambda with captures: these would die before it.
template <typename Result = void>
using Task = boost::asio::awaitable<Result>;

/// Thrown into a task that was cancelled, where it waits or next begins to wait.
class CancellationError final : public std::exception {
  public:
    const char* what() const noexcept override { return "cancelled"; }
};

/// A queue as what Asio runs handlers on: at once when already there and not asked to
/// wait for a later turn, as Asio's own executors do.
class QueueExecutor {
  public:
    using Blocking = boost::asio::execution::blocking_t;

    explicit QueueExecutor(Queue& queue, bool mayRunAtOnce = true)
        : queue_(&queue), mayRunAtOnce_(mayRunAtOnce) {}

    template <typename Function>
    void execute(Function&& function) const {
        if (mayRunAtOnce_ && queue_->isCurrent())
            std::forward<Function>(function)();
        else
            queue_->async(Work(std::forward<Function>(function)));
    }

    boost::asio::execution_context& query(boost::asio::execution::context_t) const noexcept {
        return queue_->ioContext();
    }
    Blocking query(Blocking) const noexcept {
        return mayRunAtOnce_ ? Blocking(Blocking::possibly) : Blocking(Blocking::never);
    }
    QueueExecutor require(Blocking::possibly_t) const { return QueueExecutor(*queue_, true); }
    QueueExecutor require(Blocking::never_t) const { return QueueExecutor(*queue_, false); }

    Queue& queue() const { return *queue_; }
    bool operator==(const QueueExecutor&) const = default;

  private:
    Queue* queue_;
    bool mayRunAtOnce_;
};

/// The queue on which the calling task runs.
Task<Queue*> currentQueue();

/// Throws `CancellationError` when the calling task was cancelled.
Task<> throwIfCancelled();

/// Suspends the calling task for `duration` (at once over when zero or less, after other work had its
/// turn). Throws `CancellationError` when the task is or becomes cancelled.
Task<> sleepFor(Nanoseconds duration);

/// As `sleepFor`, but a cancellation of the task neither ends the sleep nor shows in it.
Task<> sleepThroughCancellation(Nanoseconds duration);

} // namespace dispatch
