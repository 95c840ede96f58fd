// SPDX-License-Identifier: MIT
#pragma once

#include "platform/airplay/FrameSource.h"
#include "platform/airplay/Receiver.h"
#include "platform/dispatch/Queue.h"
#include "platform/foundation/Observable.h"

#include <map>
#include <memory>
#include <optional>
#include <vector>

namespace airplay {

class Playout;
class RoutePlayout;

/// The receivers that play the same, and the process whose sound it is: one for each output context.
///
/// Made by `PlaybackSystem::makeRoute` and owned by its output context; not used after the playback system is
/// gone, but for being destroyed. On the main queue, destruction included. What it says takes effect on the
/// playout queue at once, and at a time of the common time line that is common to all receivers.
///
/// The time line begins when the first receiver is connected and goes on to the end of the route, also while
/// no receiver is connected. One that comes later, or again, has missed what was played before: it gets
/// silence for it.
class Route {
  public:
    using Receivers = std::vector<std::shared_ptr<Receiver>>;

    /// Which route each connected receiver of the system belongs to. On the main queue.
    using Users = std::map<const Receiver*, Route*>;

    Route(std::shared_ptr<Playout> playout, std::shared_ptr<Users> users, dispatch::Queue& mainQueue);
    ~Route();
    Route(const Route&) = delete;
    Route& operator=(const Route&) = delete;

    /// The connected receivers, in the order of their connection.
    Receivers receivers() const;

    /// Connected at once. One that is connected already stays; one that another route is playing to is taken
    /// from that route as from its user: the other route loses it.
    void connect(const std::shared_ptr<Receiver>& receiver);
    void disconnect(const std::shared_ptr<Receiver>& receiver);
    void disconnectAll();

    /// Calls the handler after each change of the list, on the main queue, before the call that changed it
    /// returns. A subscription may outlive the route.
    [[nodiscard]] foundation::Subscription observeReceivers(
        foundation::Observable<Receivers>::Handler handler);

    /// Lets the players of a process be heard here and nowhere else; nullopt: none. Of several routes with
    /// one process the one that was told last has it.
    void setProcess(std::optional<ProcessIdentifier> process);
    std::optional<ProcessIdentifier> process() const;

    /// When frame 0 is heard; nullopt until the first receiver is connected.
    std::optional<dispatch::HostTime> epoch() const;

  private:
    dispatch::Queue& mainQueue_;
    const std::shared_ptr<Playout> playout_;
    const std::shared_ptr<Users> users_;
    const std::shared_ptr<RoutePlayout> line_;
    foundation::Observable<Receivers> receivers_;
    std::optional<ProcessIdentifier> process_ ORB_GUARDED_BY(mainQueue_);
    std::optional<dispatch::HostTime> epoch_ ORB_GUARDED_BY(mainQueue_);
};

} // namespace airplay
