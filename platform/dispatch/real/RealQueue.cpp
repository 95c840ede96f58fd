// SPDX-License-Identifier: MIT
#include "platform/dispatch/real/RealQueue.h"

#include "platform/dispatch/Check.h"
#include "platform/dispatch/Signal.h"

#include <boost/asio/bind_allocator.hpp>
#include <boost/asio/post.hpp>

#include <pthread.h>
#include <sched.h>

#include <array>
#include <semaphore>
#include <utility>

namespace dispatch {
namespace {

/// In the middle of the range: above everything that is not audio, below the kernel's own threads.
constexpr int realTimePriority = 40;

/// Kernel limit for a thread's name, without the end mark.
constexpr std::size_t threadNameLength = 15;

/// A synchronous call under way. It lives on the caller's stack, slot included.
struct SyncCall {
    explicit SyncCall(FunctionRef<void()> workToRun) : work(workToRun) {}

    FunctionRef<void()> work;
    bool ran = false;
    std::binary_semaphore done{0};
    alignas(std::max_align_t) std::array<std::byte, 256> slot{};
};

} // namespace

struct RealQueue::Loop {
    Loop(const Clock& clockToUse) : clock(clockToUse), guard(context.get_executor()), timer(context) {}

    const Clock& clock;
    boost::asio::io_context context{1};
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> guard;
    boost::asio::steady_timer timer;
    TimerHeap timers;                      // on the queue
    std::optional<HostTime> armedDeadline; // on the queue; of the loop's timer
    std::atomic<bool> cancelled{false};    // written by anybody, read by the queue
};

RealQueue::RealQueue(std::string label, const Clock& clock, Runs runs, RetiredThreads& retired)
    : Queue(std::move(label)), loop_(std::make_shared<Loop>(clock)), retired_(retired) {
    if (runs == Runs::onCaller)
        return;
    thread_ = std::thread([this, loop = loop_] {
        const CurrentScope scope(this);
        pthread_setname_np(pthread_self(), this->label().substr(0, threadNameLength).c_str());
        loop->context.run();
    });
}

RealQueue::~RealQueue() {
    cancel();
    loop_->context.stop();
    if (!thread_.joinable())
        return;
    if (isCurrent()) // destroyed by its own last piece of work: the thread ends when that returns
        retired_.add(std::move(thread_));
    else
        thread_.join();
}

void RealQueue::async(Work work) {
    boost::asio::post(loop_->context, [loop = loop_.get(), work = std::move(work)]() mutable {
        if (!loop->cancelled.load())
            work();
    });
}

bool RealQueue::sync(FunctionRef<void()> work) {
    ORB_CHECK(!isCurrent(), "queue \"{}\" would wait for itself", label());
    if (loop_->cancelled.load())
        return false;
    SyncCall call(work);
    boost::asio::post(loop_->context,
                      boost::asio::bind_allocator(SlotAllocator<void*>(call.slot.data(), call.slot.size()),
                                                  [loop = loop_.get(), &call] {
                                                      if (!loop->cancelled.load()) {
                                                          call.work();
                                                          call.ran = true;
                                                      }
                                                      call.done.release();
                                                  }));
    call.done.acquire();
    return call.ran;
}

void RealQueue::cancel() { loop_->cancelled.store(true); }

int RealQueue::setRealTime() {
    ORB_CHECK(thread_.joinable(), "queue \"{}\" has no thread of its own", label());
    sched_param parameters{};
    parameters.sched_priority = realTimePriority;
    return pthread_setschedparam(thread_.native_handle(), SCHED_FIFO, &parameters);
}

const Clock& RealQueue::clock() const { return loop_->clock; }

boost::asio::io_context& RealQueue::ioContext() { return loop_->context; }

void RealQueue::run() {
    const CurrentScope scope(this);
    loop_->context.restart();
    loop_->context.run();
}

void RealQueue::stop() { loop_->context.stop(); }

TimerHeap& RealQueue::timers() { return loop_->timers; }

void RealQueue::timersChanged() { armLoopTimer(loop_); }

void RealQueue::armLoopTimer(const std::shared_ptr<Loop>& loop) {
    const std::optional<HostTime> next = loop->timers.nextDeadline();
    if (!next || (loop->armedDeadline && *loop->armedDeadline <= *next))
        return;
    loop->armedDeadline = next;
    loop->timer.expires_after(*next - loop->clock.now());
    loop->timer.async_wait([weak = std::weak_ptr(loop)](const boost::system::error_code& error) {
        const auto alive = weak.lock();
        if (error || !alive) // re-armed for an earlier deadline, or gone
            return;
        alive->armedDeadline.reset();
        fireDueTimers(alive);
    });
}

void RealQueue::fireDueTimers(const std::shared_ptr<Loop>& loop) {
    const HostTime now = loop->clock.now();
    while (!loop->cancelled.load()) {
        Timer* due = loop->timers.takeDue(now);
        if (due == nullptr)
            break;
        due->fire();
    }
    armLoopTimer(loop);
}

void RealQueue::deliver(Signal& signal) noexcept {
    Signal::State& state = *signal.state();
    boost::asio::post(loop_->context,
                      boost::asio::bind_allocator(SlotAllocator<void*>(state.slot.data(), state.slot.size()),
                                                  [loop = loop_.get(), state = signal.state()] {
                                                      if (!loop->cancelled.load())
                                                          state->run();
                                                  }));
}

} // namespace dispatch
