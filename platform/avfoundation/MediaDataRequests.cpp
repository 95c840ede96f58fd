// SPDX-License-Identifier: MIT
#include "platform/avfoundation/MediaDataRequests.h"

#include "platform/dispatch/TaskGroup.h"

#include <utility>

namespace avfoundation {

using dispatch::LockGuard;

struct MediaDataRequests::Request {
    dispatch::Queue& queue;
    const Handler handler;
    const std::uint64_t number;
};

/// Kept by its task and, when that has ended, by the queue until the group knows it.
struct MediaDataRequests::Invocation {
    explicit Invocation(std::shared_ptr<Request> requestToServe)
        : request(std::move(requestToServe)), tasks(request->queue) {}

    static void keepUntilEnded(std::shared_ptr<Invocation> invocation) {
        dispatch::Queue& queue = invocation->request->queue;
        queue.async([invocation = std::move(invocation)]() mutable {
            if (invocation->tasks.running() >
                0) { // its end is under way, at most a few turns of the queue away
                keepUntilEnded(std::move(invocation));
            }
        });
    }

    const std::shared_ptr<Request> request;
    dispatch::TaskGroup tasks; // on the request's queue
};

/// The time from the start of a task to its end, however it ends.
class MediaDataRequests::Running {
  public:
    Running(std::shared_ptr<MediaDataRequests> owner, std::shared_ptr<Invocation> invocation)
        : owner_(std::move(owner)), invocation_(std::move(invocation)) {}
    ~Running() { owner_->ended(invocation_); }
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;

  private:
    const std::shared_ptr<MediaDataRequests> owner_;
    const std::shared_ptr<Invocation> invocation_;
};

void MediaDataRequests::install(dispatch::Queue& queue, Handler handler) {
    std::shared_ptr<Request> request;
    {
        const LockGuard guard(lock_);
        if (closed_) {
            return;
        }
        request = std::make_shared<Request>(queue, std::move(handler), ++latest_);
        request_.swap(request); // the old one goes behind the lock
        due_ = true;
        installed_.store(latest_);
    }
    startIfDue();
}

void MediaDataRequests::released(std::size_t count) {
    const std::size_t before = queued_.fetch_sub(count);
    if (before < limit_ || before - count >= limit_) {
        return;
    }
    {
        const LockGuard guard(lock_);
        due_ = true;
    }
    startIfDue();
}

void MediaDataRequests::close() {
    stop();
    std::shared_ptr<Request> request;
    std::shared_ptr<Invocation> running;
    {
        const LockGuard guard(lock_);
        closed_ = true;
        request_.swap(request);
        running = running_;
    }
    if (running != nullptr) {
        dispatch::Queue& queue = running->request->queue;
        queue.async([running = std::move(running)] { running->tasks.cancel(); });
    }
}

void MediaDataRequests::startIfDue() {
    std::shared_ptr<Invocation> invocation;
    {
        const LockGuard guard(lock_);
        // Without room it stays due: whatever makes room comes by here.
        if (!due_ || running_ != nullptr || request_ == nullptr || installed_.load() != request_->number ||
            !hasRoom()) {
            return;
        }
        due_ = false;
        invocation = std::make_shared<Invocation>(request_);
        running_ = invocation;
    }
    dispatch::Queue& queue = invocation->request->queue;
    queue.async([self = shared_from_this(), invocation = std::move(invocation)] { self->begin(invocation); });
}

void MediaDataRequests::begin(const std::shared_ptr<Invocation>& invocation) {
    invocation->tasks.spawn(run(shared_from_this(), invocation));
}

dispatch::Task<> MediaDataRequests::run(std::shared_ptr<MediaDataRequests> self,
                                        std::shared_ptr<Invocation> invocation) {
    const Running running(self, invocation);
    // Interleaves: the request may have been stopped or replaced since this was started.
    if (self->installed_.load() == invocation->request->number) {
        co_await invocation->request->handler();
    }
}

void MediaDataRequests::ended(const std::shared_ptr<Invocation>& invocation) {
    Invocation::keepUntilEnded(invocation);
    {
        const LockGuard guard(lock_);
        running_.reset();
    }
    startIfDue();
}

} // namespace avfoundation
