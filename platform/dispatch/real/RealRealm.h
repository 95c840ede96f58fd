// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dispatch/Realm.h"
#include "platform/dispatch/real/RetiredThreads.h"

namespace dispatch {

class RealQueue;

/// Real time: the machine's monotonic clock, a thread per queue, and the main queue on the thread that
/// calls `run()`. Its end waits for the last of these threads.
class RealRealm final : public Realm {
  public:
    RealRealm();
    ~RealRealm() override;

    const Clock& clock() const override { return *clock_; }
    Queue& mainQueue() override;
    std::unique_ptr<Queue> makeQueue(std::string label) override;
    std::shared_ptr<void> awaitOutside(std::string what, std::function<bool()> settled) override;

    /// Runs the main queue on the calling thread until `stop()`.
    void run();

    /// Ends `run()` after the work that is running. Any thread.
    void stop();

  private:
    const std::unique_ptr<Clock> clock_;
    RetiredThreads retired_;
    const std::unique_ptr<RealQueue> mainQueue_;
};

} // namespace dispatch
