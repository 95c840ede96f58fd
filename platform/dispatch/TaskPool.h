// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dispatch/Realm.h"
#include "platform/dispatch/TaskGroup.h"

#include <memory>
#include <optional>

namespace dispatch {

/// Where tasks run that belong to no other queue, so that what they compute holds up neither the main thread
/// nor whoever started them. One per process, made by the composition root. Tasks begin in the order of
/// `start`.
class TaskPool {
  public:
    explicit TaskPool(Realm& realm);

    /// No task is left (see `drain`), or the process ends without this.
    ~TaskPool();
    TaskPool(const TaskPool&) = delete;
    TaskPool& operator=(const TaskPool&) = delete;

    /// For delayed work as well.
    Queue& queue() { return *queue_; }

    /// Starts a task, which ends by itself or by cancellation; any other exception that leaves it is a fault
    /// of ours. Any thread.
    void start(Task<> task);

    /// Cancels all tasks and waits until none is left. Awaited on any queue but this one.
    Task<> drain();

  private:
    const std::unique_ptr<Queue> queue_;
    std::optional<TaskGroup> tasks_; // of the queue
};

} // namespace dispatch
