// SPDX-License-Identifier: MIT
#include "platform/dispatch/Timer.h"

#include "platform/dispatch/Queue.h"

#include <utility>

namespace dispatch {

TimerHeap::~TimerHeap() {
    while (!heap_.empty()) {
        Timer& timer = *heap_.back();
        remove(timer);
        const std::shared_ptr<void> last = std::move(timer.owner_);
    }
}

std::optional<HostTime> TimerHeap::nextDeadline() const {
    if (heap_.empty())
        return std::nullopt;
    return heap_.front()->deadline_;
}

Timer* TimerHeap::takeDue(HostTime now) {
    if (heap_.empty() || heap_.front()->deadline_ > now)
        return nullptr;
    Timer* due = heap_.front();
    remove(*due);
    return due;
}

void TimerHeap::insert(Timer& timer, HostTime deadline) {
    timer.deadline_ = deadline;
    timer.sequence_ = sequence_++;
    heap_.push_back(&timer);
    timer.index_ = heap_.size() - 1;
    siftUp(timer.index_);
}

void TimerHeap::remove(Timer& timer) {
    const std::size_t hole = std::exchange(timer.index_, Timer::notArmed);
    Timer* last = heap_.back();
    heap_.pop_back();
    if (last == &timer)
        return;
    place(hole, *last);
    siftUp(hole);
    siftDown(last->index_);
}

bool TimerHeap::before(const Timer& left, const Timer& right) const {
    return std::pair{left.deadline_, left.sequence_} < std::pair{right.deadline_, right.sequence_};
}

void TimerHeap::siftUp(std::size_t index) {
    while (index > 0) {
        const std::size_t parent = (index - 1) / 2;
        if (!before(*heap_[index], *heap_[parent]))
            return;
        Timer* moved = heap_[parent];
        place(parent, *heap_[index]);
        place(index, *moved);
        index = parent;
    }
}

void TimerHeap::siftDown(std::size_t index) {
    for (;;) {
        std::size_t earliest = index;
        for (std::size_t child = 2 * index + 1; child <= 2 * index + 2 && child < heap_.size(); ++child)
            if (before(*heap_[child], *heap_[earliest]))
                earliest = child;
        if (earliest == index)
            return;
        Timer* moved = heap_[earliest];
        place(earliest, *heap_[index]);
        place(index, *moved);
        index = earliest;
    }
}

void TimerHeap::place(std::size_t index, Timer& timer) {
    heap_[index] = &timer;
    timer.index_ = index;
}

Timer::Timer(Queue& queue, std::function<void()> fire) : queue_(queue), fire_(std::move(fire)) {}

Timer::~Timer() { cancel(); }

void Timer::armAt(HostTime deadline) {
    queue_.assertCurrent();
    if (isArmed())
        queue_.timers().remove(*this);
    queue_.timers().insert(*this, deadline);
    queue_.timersChanged();
}

void Timer::armAfter(Nanoseconds delay) { armAt(queue_.clock().now() + delay); }

void Timer::armAt(HostTime deadline, std::shared_ptr<void> owner) {
    owner_ = std::move(owner);
    armAt(deadline);
}

void Timer::fire() {
    const std::shared_ptr<void> last = std::move(owner_);
    fire_();
}

void Timer::cancel() {
    if (!isArmed())
        return;
    queue_.assertCurrent();
    queue_.timers().remove(*this);
    const std::shared_ptr<void> last = std::move(owner_);
}

} // namespace dispatch
