// SPDX-License-Identifier: MIT
#pragma once

#include "platform/airplay/ReceiverGroup.h"
#include "platform/airplay/Route.h"
#include "platform/airplay/UserAlerts.h"
#include "platform/dispatch/Signal.h"
#include "platform/foundation/Observable.h"

#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

namespace airplay {

/// Connects receivers to a route and disconnects them, as the user wishes, and asks and tells the user what
/// has to be asked and told meanwhile. One for each output context, which owns it beside its route. Main
/// queue, destruction included.
///
/// A group is connected by its leader, the others follow once the leader is connected: nobody is asked about
/// them, and one that refuses, or wants to be answered, stays out. The leader's loss is the loss of the
/// group. A receiver that another route takes is lost; so is one that another group of this route begins to
/// connect.
class RouteControl {
  public:
    enum class State { disconnected, connecting, connected };

    /// `alerts` may be nullptr: nobody is there to be asked, and every question counts as dismissed. All
    /// outlive this.
    RouteControl(dispatch::Queue& mainQueue, Route& route, UserAlerts* alerts);
    ~RouteControl();
    RouteControl(const RouteControl&) = delete;
    RouteControl& operator=(const RouteControl&) = delete;

    /// Begins to connect a group on behalf of `requester`, anew where its leader is being connected already;
    /// does nothing where it is connected. Ends in connected or disconnected, or never. A failure is told to
    /// the user, who keeps it on the screen until it is acknowledged or given up, or the leader is connected
    /// anew.
    void connect(ReceiverGroup group, const void* requester);

    /// Disconnects the group of that leader, or gives up connecting it. The receivers leave in their own
    /// time; the state is `disconnected` at once.
    void disconnect(std::string_view leader);

    /// Gives up what `requester` has begun and is not connected, and takes its alerts from the screen.
    void giveUp(const void* requester);

    State state(std::string_view leader) const;

    /// The groups that are being connected or are connected, in the order of their requests.
    std::vector<ReceiverGroup> groups() const;

    /// Calls the handler in a later turn after states or groups have changed.
    [[nodiscard]] foundation::Subscription observe(std::function<void()> handler);

  private:
    class Member;
    struct Group;

    Group* find(std::string_view leader) ORB_REQUIRES(mainQueue_);
    Member* firstMember(dispatch::FunctionRef<bool(const Member&)> isMeant) ORB_REQUIRES(mainQueue_);
    void begin(Group& group, const std::shared_ptr<Receiver>& receiver) ORB_REQUIRES(mainQueue_);

    // What the receivers and the user say; each may end the member or the group that it is about.
    void secretWanted(Member& member, SecretKind kind);
    void answered(Group& group, const std::optional<Secret>& answer);
    void connected(Member& member, std::shared_ptr<Receiver> as);
    void refused(Member& member);
    void lost(Member& member);
    void receiversChanged();

    /// Lets go those that are connected, drops the others.
    void end(Group& group) ORB_REQUIRES(mainQueue_);
    void remove(const Group& group);
    void changed() { changed_.raise(); }

    dispatch::Queue& mainQueue_;
    Route& route_;
    UserAlerts* const alerts_;
    std::list<Group> groups_ ORB_GUARDED_BY(mainQueue_);   // in the order of their requests
    std::list<Member> leaving_ ORB_GUARDED_BY(mainQueue_); // connected, and told to let go
    foundation::Observable<std::uint64_t> changes_;
    dispatch::Signal changed_;
    foundation::Subscription routeChanges_;
};

} // namespace airplay
