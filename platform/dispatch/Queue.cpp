// SPDX-License-Identifier: MIT
#include "platform/dispatch/Queue.h"

#include "platform/dispatch/Check.h"
#include "platform/dispatch/Signal.h"

#include <atomic>
#include <utility>

namespace dispatch {
namespace {

thread_local Queue* currentQueue = nullptr;

/// Kept alive by its timer, which belongs to the queue, until it has run or is cancelled.
class QueuedDelayedWork final : public DelayedWork, public std::enable_shared_from_this<QueuedDelayedWork> {
  public:
    QueuedDelayedWork(Queue& queue, Work work)
        : queue_(queue), work_(std::move(work)), timer_(queue, [this] { run(); }) {}

    /// On the queue.
    void arm(HostTime deadline) {
        if (cancelled_.load())
            return;
        timer_.armAt(deadline, shared_from_this());
    }

    void cancel() override {
        cancelled_.store(true);
        if (queue_.isCurrent())
            disarm();
        else
            queue_.async([self = shared_from_this()] { self->disarm(); });
    }

  private:
    void disarm() {
        work_.reset();
        timer_.cancel();
    }

    void run() {
        if (!cancelled_.load())
            std::exchange(work_, Work{})();
    }

    Queue& queue_;
    Work work_;
    Timer timer_;
    std::atomic<bool> cancelled_{false};
};

} // namespace

Queue* Queue::current() noexcept { return currentQueue; }

void Queue::assertCurrent() const {
    ORB_CHECK(isCurrent(), "work of queue \"{}\" called from \"{}\"", label_,
              currentQueue != nullptr ? currentQueue->label() : "no queue");
}

std::shared_ptr<DelayedWork> Queue::asyncAfter(Nanoseconds delay, Work work) {
    const HostTime deadline = clock().now() + delay;
    auto delayed = std::make_shared<QueuedDelayedWork>(*this, std::move(work));
    if (isCurrent())
        delayed->arm(deadline);
    else
        async([delayed, deadline] { delayed->arm(deadline); });
    return delayed;
}

Queue::CurrentScope::CurrentScope(Queue* queue) noexcept : outer_(currentQueue) { currentQueue = queue; }

Queue::CurrentScope::~CurrentScope() { currentQueue = outer_; }

Signal::Signal(Queue& queue, std::function<void()> handler)
    : queue_(queue), state_(std::make_shared<State>(std::move(handler))) {}

Signal::~Signal() { state_->dead.store(true); }

void Signal::raise() noexcept {
    if (!state_->raised.exchange(true))
        queue_.deliver(*this);
}

void Signal::State::run() {
    raised.store(false);
    if (!dead.load())
        handler();
}

} // namespace dispatch
