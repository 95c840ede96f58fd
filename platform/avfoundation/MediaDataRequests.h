// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dispatch/Ownership.h"
#include "platform/dispatch/Task.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>

namespace avfoundation {

/// Whether one renderer wants media data, the requests for it, and the invocations of their handlers: one at
/// a time, whatever request and queue they belong to. Shared by the renderer, the playout and the
/// invocations, so that it outlives a renderer that goes while its handler is suspended. Any thread.
///
///     install(A)   A due -> A runs .............. ends
///                       install(B)   B due -> (waits) -> B runs
class MediaDataRequests : public std::enable_shared_from_this<MediaDataRequests> {
  public:
    using Handler = std::function<dispatch::Task<>()>;

    /// There is room for fewer than `limit` buffers at a time.
    explicit MediaDataRequests(std::size_t limit) : limit_(limit) {}
    MediaDataRequests(const MediaDataRequests&) = delete;
    MediaDataRequests& operator=(const MediaDataRequests&) = delete;

    /// Replaces the request. An invocation is due: now or when there is room.
    void install(dispatch::Queue& queue, Handler handler);

    /// Real-time threads, too: takes no lock and frees nothing.
    void stop() noexcept { installed_.store(0); }
    bool isReady() const noexcept { return installed_.load() != 0 && hasRoom(); }

    /// A buffer came, `count` buffers went; when that makes room where there was none, an invocation is due.
    void added() noexcept { queued_.fetch_add(1); }
    void released(std::size_t count);

    /// Ends it all; an invocation that runs is cancelled on its queue.
    void close();

  private:
    struct Request;
    struct Invocation;
    class Running;

    static dispatch::Task<> run(std::shared_ptr<MediaDataRequests> self,
                                std::shared_ptr<Invocation> invocation);
    bool hasRoom() const noexcept { return queued_.load() < limit_; }
    void startIfDue() ORB_EXCLUDES(lock_);
    void begin(const std::shared_ptr<Invocation>& invocation);
    void ended(const std::shared_ptr<Invocation>& invocation) ORB_EXCLUDES(lock_);

    const std::size_t limit_;
    std::atomic<std::size_t> queued_{0};      // buffers; written by `added` and `released`, read by anybody
    std::atomic<std::uint64_t> installed_{0}; // the request's number, 0: none; written and read by anybody
    dispatch::Lock lock_;
    std::uint64_t latest_ ORB_GUARDED_BY(lock_) = 0;
    std::shared_ptr<Request> request_ ORB_GUARDED_BY(lock_); // the latest, stopped or not
    bool due_ ORB_GUARDED_BY(lock_) = false;
    std::shared_ptr<Invocation> running_ ORB_GUARDED_BY(lock_);
    bool closed_ ORB_GUARDED_BY(lock_) = false;
};

} // namespace avfoundation
