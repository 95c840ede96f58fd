// SPDX-License-Identifier: MIT
#pragma once

#include "platform/airplay/RoutePlayout.h"
#include "platform/dispatch/Realm.h"
#include "platform/dispatch/Signal.h"

#include <map>
#include <memory>
#include <optional>
#include <vector>

namespace airplay {

/// The playout queue and what it plays: all routes, all players, and which process is heard where. Owned by
/// the playback system, and by routes that outlive it, which then have nobody to talk to. Any thread; what is
/// said is carried out on the queue, in order, each time after playing up to now.
class Playout {
  public:
    using RoutePointer = std::shared_ptr<RoutePlayout>;

    explicit Playout(dispatch::Realm& realm);
    ~Playout();
    Playout(const Playout&) = delete;
    Playout& operator=(const Playout&) = delete;

    dispatch::Queue& queue() const noexcept { return *ownQueue_; }

    void addRoute(RoutePointer route);
    void removeRoute(RoutePointer route);
    void begin(RoutePointer route, dispatch::HostTime epoch);
    void connect(RoutePointer route, std::shared_ptr<Receiver> receiver);
    void disconnect(RoutePointer route, std::shared_ptr<Receiver> receiver);
    void tie(RoutePointer route, std::optional<ProcessIdentifier> process);

    void attach(std::shared_ptr<FrameSource> source, ProcessIdentifier process);
    void detach(std::shared_ptr<FrameSource> source);

    /// Real-time threads, too.
    void wake() noexcept { wakeUp_.raise(); }

    /// Waits until it is done. Whatever is said later is dropped.
    void finish();

  private:
    struct AttachedSource {
        std::shared_ptr<FrameSource> source;
        ProcessIdentifier process;
    };

    /// Runs a change on the queue.
    template <typename Change>
    void change(Change&& change);

    void catchUp() ORB_REQUIRES(queue_);
    void distributeSources() ORB_REQUIRES(queue_);
    void passUnheard(dispatch::HostTime now) ORB_REQUIRES(queue_);
    void playSteps() ORB_REQUIRES(queue_);
    void woken() ORB_REQUIRES(queue_);
    void arm() ORB_REQUIRES(queue_);

    const dispatch::Clock& clock_;
    std::unique_ptr<dispatch::Queue> ownQueue_;
    dispatch::Queue& queue_;
    std::vector<RoutePointer> routes_ ORB_GUARDED_BY(queue_);
    std::map<ProcessIdentifier, RoutePointer> ties_ ORB_GUARDED_BY(queue_);
    std::vector<AttachedSource> sources_ ORB_GUARDED_BY(queue_);
    dispatch::Timer timer_ ORB_GUARDED_BY(queue_);
    dispatch::Signal wakeUp_;
};

} // namespace airplay
