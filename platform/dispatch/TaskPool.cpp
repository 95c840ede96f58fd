// SPDX-License-Identifier: MIT
#include "platform/dispatch/TaskPool.h"

#include "platform/dispatch/runOn.h"

#include <utility>

namespace dispatch {

TaskPool::TaskPool(Realm& realm) : queue_(realm.makeQueue("TaskPool")), tasks_(*queue_) {}

TaskPool::~TaskPool() {
    queue_->sync([this] { tasks_.reset(); });
}

void TaskPool::start(Task<> task) {
    queue_->async([this, task = std::move(task)]() mutable { tasks_->spawn(std::move(task)); });
}

Task<> TaskPool::drain() { co_await runOn(*queue_, tasks_->drain()); }

} // namespace dispatch
