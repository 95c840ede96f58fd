// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dispatch/Clock.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace dispatch {

class Queue;
class Timer;

/// The armed timers of one queue (or of one virtual realm), earliest first; of equal deadlines, the one
/// armed first. Arming and cancelling allocate nothing once the heap has grown.
/// Owned and used by one thread.
class TimerHeap {
  public:
    TimerHeap() = default;
    /// Disarms what is left and lets go of its owners.
    ~TimerHeap();
    TimerHeap(const TimerHeap&) = delete;
    TimerHeap& operator=(const TimerHeap&) = delete;

    std::optional<HostTime> nextDeadline() const;

    /// Takes the earliest timer out if it is due at `now`; nullptr when none is.
    Timer* takeDue(HostTime now);

    std::size_t size() const { return heap_.size(); }

  private:
    friend class Timer;

    void insert(Timer& timer, HostTime deadline);
    void remove(Timer& timer);
    bool before(const Timer& left, const Timer& right) const;
    void siftUp(std::size_t index);
    void siftDown(std::size_t index);
    void place(std::size_t index, Timer& timer);

    std::vector<Timer*> heap_;
    std::uint64_t sequence_ = 0;
};

/// Calls back once at a deadline, on the queue it belongs to. Armed, cancelled and destroyed on that queue
/// (a timer that is not armed may be made and destroyed anywhere); it never fires after `cancel()`.
class Timer {
  public:
    Timer(Queue& queue, std::function<void()> fire);
    ~Timer();
    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;

    /// Arms or re-arms. A deadline that has passed fires as soon as the queue is free.
    void armAt(HostTime deadline);
    void armAfter(Nanoseconds delay);
    void cancel();
    bool isArmed() const { return index_ != notArmed; }

    /// The deadline last armed.
    HostTime deadline() const { return deadline_; }

    /// Arms, and keeps `owner`, of which this timer is a part, alive until it fires or is cancelled.
    void armAt(HostTime deadline, std::shared_ptr<void> owner);

    Queue& queue() const { return queue_; }

    /// For the queue only: calls back. The timer has been taken out of its heap.
    void fire();

  private:
    friend class TimerHeap;
    static constexpr std::size_t notArmed = SIZE_MAX;

    Queue& queue_;
    std::function<void()> fire_;
    HostTime deadline_{};
    std::uint64_t sequence_ = 0;
    std::size_t index_ = notArmed;
    std::shared_ptr<void> owner_;
};

} // namespace dispatch
