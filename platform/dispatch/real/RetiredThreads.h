// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dispatch/Ownership.h"

#include <thread>
#include <utility>

namespace dispatch {

/// The thread of a queue that was destroyed by its own last piece of work, so that nobody could join it
/// there. It is joined when the next one comes, or at the end of this object; no more than one waits. Any
/// thread.
class RetiredThreads {
  public:
    RetiredThreads() = default;
    ~RetiredThreads() { join(); }
    RetiredThreads(const RetiredThreads&) = delete;
    RetiredThreads& operator=(const RetiredThreads&) = delete;

    void add(std::thread thread) {
        {
            const LockGuard guard(lock_);
            std::swap(thread, thread_);
        }
        if (thread.joinable()) {
            thread.join();
        }
    }

    void join() { add({}); }

  private:
    Lock lock_;
    std::thread thread_ ORB_GUARDED_BY(lock_);
};

} // namespace dispatch
