// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dispatch/Realm.h"

#include <memory>
#include <string>

namespace lmn {

/// A serial queue that asks for real-time scheduling. Owned by whoever renders on it; any thread.
class LMNDispatchQueue {
  public:
    LMNDispatchQueue(dispatch::Realm& realm, std::string label);

    /// Asks the system for real-time scheduling. A refusal is logged once per process and survived: the
    /// render latency absorbs the lateness that may follow.
    void setRealTime();

    /// Drops what waits and whatever comes later.
    void cancel() { queue_->cancel(); }

    /// Runs `block` on the queue and returns when it has ended. Not from the queue itself. On a cancelled
    /// queue nothing runs and false is returned.
    bool dispatchSyncImmed(dispatch::FunctionRef<void()> block) { return queue_->sync(block); }

    dispatch::Queue& queue() { return *queue_; }

  private:
    const std::unique_ptr<dispatch::Queue> queue_;
};

} // namespace lmn
