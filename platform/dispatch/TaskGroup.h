// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dispatch/Task.h"
#include "platform/dispatch/WaitPoint.h"

#include <boost/asio/cancellation_signal.hpp>

#include <cstddef>
#include <list>

namespace dispatch {

/// The running tasks of one owner on one queue. The owner cancels and drains it before it goes: a group
/// that is destroyed with a task still running is a fault of ours and stops the process.
/// All operations on the queue.
class TaskGroup {
  public:
    explicit TaskGroup(Queue& queue);
    ~TaskGroup();
    TaskGroup(const TaskGroup&) = delete;
    TaskGroup& operator=(const TaskGroup&) = delete;

    /// Starts a task; it begins to run in a later turn of the queue. Its end by cancellation is silent; any
    /// other exception that leaves it is a fault of ours.
    void spawn(Task<> task);

    /// Cancels every task that is running now. Each ends when it has unwound.
    void cancel();

    /// Cancels, and waits until no task is left.
    Task<> drain();

    std::size_t running() const { return members_.size(); }

  private:
    struct Member {
        boost::asio::cancellation_signal cancellation;
    };

    void ended(std::list<Member>::iterator member, const std::exception_ptr& failure);

    Queue& queue_;
    std::list<Member> members_;
    WaitPoint idle_;
};

} // namespace dispatch
