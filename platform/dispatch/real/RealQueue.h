// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dispatch/Queue.h"
#include "platform/dispatch/real/RetiredThreads.h"

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/steady_timer.hpp>

#include <atomic>
#include <optional>
#include <thread>

namespace dispatch {

/// A queue on an event loop of its own; the loop runs on a thread of its own, or on whichever thread calls
/// `run()`. One timer of the loop is armed at the next deadline of all timers of the queue.
class RealQueue final : public Queue {
  public:
    enum class Runs { onOwnThread, onCaller };

    /// `clock` and `retired` outlive the queue's thread.
    RealQueue(std::string label, const Clock& clock, Runs runs, RetiredThreads& retired);
    ~RealQueue() override;

    void async(Work work) override;
    bool sync(FunctionRef<void()> work) override;
    void cancel() override;
    int setRealTime() override;
    const Clock& clock() const override;
    boost::asio::io_context& ioContext() override;

    void run();
    void stop();

  private:
    /// Shared with the thread, which may outlive the queue by the one piece of work that destroyed it.
    struct Loop;

    TimerHeap& timers() override;
    void timersChanged() override;
    void deliver(Signal& signal) noexcept override;
    static void fireDueTimers(const std::shared_ptr<Loop>& loop);
    static void armLoopTimer(const std::shared_ptr<Loop>& loop);

    const std::shared_ptr<Loop> loop_;
    RetiredThreads& retired_;
    std::thread thread_;
};

} // namespace dispatch
