// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dispatch/Clock.h"
#include "platform/dispatch/Ownership.h"
#include "platform/dispatch/Timer.h"
#include "platform/dispatch/Work.h"

#include <boost/asio/io_context.hpp>

#include <memory>
#include <string>

namespace dispatch {

class Signal;
class DelayedWork;

/// A serial queue: work handed to it runs one piece at a time, in the order of arrival. It is also the
/// capability that guards the data which only its work may touch.
///
/// Made by a `Realm`, which decides what stands behind it: a thread of its own, the main thread, or a share
/// of a virtual realm's one thread. Operations may be called from any thread unless they say otherwise.
class ORB_CAPABILITY("queue") Queue {
  public:
    explicit Queue(std::string label) : label_(std::move(label)) {}
    virtual ~Queue() = default;
    Queue(const Queue&) = delete;
    Queue& operator=(const Queue&) = delete;

    const std::string& label() const { return label_; }

    /// Runs `work` on the queue, later. Work handed to a cancelled queue is dropped.
    virtual void async(Work work) = 0;

    /// Runs `work` on the queue and returns when it has ended; false, without running it, when the queue is
    /// cancelled. Never called from the queue's own work. Allocates nothing.
    virtual bool sync(FunctionRef<void()> work) = 0;

    /// Runs `work` on the queue after `delay`, counted from now on the realm's clock.
    std::shared_ptr<DelayedWork> asyncAfter(Nanoseconds delay, Work work);

    /// Drops what waits and whatever comes later. Work that is running ends. Idempotent.
    virtual void cancel() = 0;

    /// Asks for real-time scheduling of the queue's work; 0, or the `errno` of the refusal.
    virtual int setRealTime() = 0;

    /// Whether the calling thread is running this queue's work.
    bool isCurrent() const noexcept { return current() == this; }
    void assertCurrent() const ORB_ASSERT_CAPABILITY(this);

    /// The queue whose work the calling thread runs, or nullptr.
    static Queue* current() noexcept;

    virtual const Clock& clock() const = 0;

    /// The event loop that serves sockets and files for this queue; their completions run on the queue.
    virtual boost::asio::io_context& ioContext() = 0;

  protected:
    friend class Timer;
    friend class Signal;

    /// While it lives, `queue` is current on this thread.
    class CurrentScope {
      public:
        explicit CurrentScope(Queue* queue) noexcept;
        ~CurrentScope();
        CurrentScope(const CurrentScope&) = delete;
        CurrentScope& operator=(const CurrentScope&) = delete;

      private:
        Queue* const outer_;
    };

    virtual TimerHeap& timers() = 0;

    /// The earliest deadline of `timers()` may have come nearer. On the queue.
    virtual void timersChanged() = 0;

    /// Runs a raised signal on the queue. Any thread; allocates nothing.
    virtual void deliver(Signal& signal) noexcept = 0;

  private:
    const std::string label_;
};

/// A cancellable piece of delayed work.
class DelayedWork {
  public:
    virtual ~DelayedWork() = default;

    /// The work will not begin after this returns, if called on its queue; from elsewhere, unless it is
    /// just beginning.
    virtual void cancel() = 0;
};

} // namespace dispatch
