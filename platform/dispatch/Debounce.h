// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dispatch/Timer.h"

#include <functional>
#include <memory>

namespace dispatch {

/// Runs an action on a queue once `quiet` has passed without a further `touch()`.
class Debounce {
  public:
    Debounce(Queue& queue, Nanoseconds quiet, std::function<void()> action);

    /// A pending action is dropped. Destroy on the queue.
    ~Debounce();
    Debounce(const Debounce&) = delete;
    Debounce& operator=(const Debounce&) = delete;

    /// Begins the quiet time, anew if it had begun. Any thread.
    void touch();

  private:
    Queue& queue_;
    const Nanoseconds quiet_;
    std::shared_ptr<Timer> timer_;
};

} // namespace dispatch
