// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dispatch/Check.h"
#include "platform/dispatch/Ownership.h"
#include "platform/dispatch/Work.h"

#include <atomic>
#include <string>
#include <thread>

namespace dispatch {

/// A serial queue that is only ever used synchronously. Whoever calls runs the work on its own thread while
/// everybody else waits, so it costs no change of threads; it is the capability that guards what its work
/// touches. For short work that waits for nothing. Any thread.
class ORB_CAPABILITY("queue") SyncQueue {
  public:
    explicit SyncQueue(std::string label) : label_(std::move(label)) {}
    SyncQueue(const SyncQueue&) = delete;
    SyncQueue& operator=(const SyncQueue&) = delete;

    const std::string& label() const { return label_; }

    /// Never called from the queue's own work.
    void sync(FunctionRef<void()> work) {
        ORB_CHECK(!isCurrent(), "queue \"{}\" would wait for itself", label_);
        const LockGuard guard(lock_);
        const CurrentScope scope(current_);
        work();
    }

    bool isCurrent() const noexcept { return current_.load() == std::this_thread::get_id(); }
    void assertCurrent() const ORB_ASSERT_CAPABILITY(this) {
        ORB_CHECK(isCurrent(), "not on queue \"{}\"", label_);
    }

  private:
    class CurrentScope {
      public:
        explicit CurrentScope(std::atomic<std::thread::id>& current) : current_(current) {
            current_.store(std::this_thread::get_id());
        }
        ~CurrentScope() { current_.store(std::thread::id{}); }
        CurrentScope(const CurrentScope&) = delete;
        CurrentScope& operator=(const CurrentScope&) = delete;

      private:
        std::atomic<std::thread::id>& current_;
    };

    const std::string label_;
    Lock lock_;
    std::atomic<std::thread::id> current_{}; // written by whoever holds the lock, read by anybody
};

} // namespace dispatch
