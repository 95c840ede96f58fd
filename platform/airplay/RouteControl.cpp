// SPDX-License-Identifier: MIT
#include "platform/airplay/RouteControl.h"

#include <algorithm>
#include <utility>

namespace airplay {

/// One receiver on its way in, in, or on its way out of the route. Owned by its group, or by the control once
/// it is told to let go.
class RouteControl::Member final : public ReceiverConnectionDelegate {
  public:
    Member(RouteControl& control, Group& groupOfIt, std::shared_ptr<Receiver> asked)
        : group(&groupOfIt),
          control_(control),
          asked_(std::move(asked)),
          connection_(asked_->connect(*this)) {}
    virtual ~Member() = default;
    Member(const Member&) = delete;
    Member& operator=(const Member&) = delete;

    void secretWanted(SecretKind kind) override { control_.secretWanted(*this, kind); }
    void connected(std::shared_ptr<Receiver> turnedUp) override {
        control_.connected(*this, std::move(turnedUp));
    }
    void refused() override { control_.refused(*this); }
    void lost() override { control_.lost(*this); }

    const Receiver& asked() const { return *asked_; }
    ReceiverConnection& connection() const { return *connection_; }

    Group* group;                 ///< nullptr when it is leaving
    std::shared_ptr<Receiver> as; ///< in the route; nullptr when it is not connected

  private:
    RouteControl& control_;
    const std::shared_ptr<Receiver> asked_;
    const std::unique_ptr<ReceiverConnection> connection_;
};

struct RouteControl::Group {
    bool isOf(std::string_view leader) const { return asked.leader().description()->identifier == leader; }
    bool hasFailed() const { return members.empty(); }
    bool isConnected() const { return !members.empty() && members.front().as != nullptr; }
    bool isLedBy(const Member& member) const { return &member == &members.front(); }

    ReceiverGroup asked;
    const void* requester = nullptr;
    std::list<Member> members = {}; // the leader first; none once it has refused: only the alert is left
    bool wasAnswered = false;
    std::unique_ptr<UserAlerts::Alert> alert = {};
};

RouteControl::RouteControl(dispatch::Queue& mainQueue, Route& route, UserAlerts* alerts)
    : mainQueue_(mainQueue),
      route_(route),
      alerts_(alerts),
      changed_(mainQueue, [this] { changes_.set(changes_.get() + 1); }),
      routeChanges_(route.observeReceivers([this](const Route::Receivers&) { receiversChanged(); })) {}

RouteControl::~RouteControl() {
    mainQueue_.assertCurrent();
    routeChanges_.cancel();
    for (Group& group : groups_) {
        leaving_.splice(leaving_.end(), group.members);
    }
    for (const Member& member : leaving_) {
        if (member.as) {
            route_.disconnect(member.as);
        }
    }
}

void RouteControl::connect(ReceiverGroup group, const void* requester) {
    mainQueue_.assertCurrent();
    if (Group* const known = find(group.leader().description()->identifier)) {
        if (known->isConnected()) {
            return;
        }
        remove(*known);
    }
    Group& begun = groups_.emplace_back(Group{.asked = std::move(group), .requester = requester});
    begin(begun, begun.asked.receivers.front());
    changed();
}

void RouteControl::disconnect(std::string_view leader) {
    mainQueue_.assertCurrent();
    Group* const group = find(leader);
    if (group != nullptr && !group->hasFailed()) {
        end(*group);
    }
}

void RouteControl::giveUp(const void* requester) {
    mainQueue_.assertCurrent();
    const auto isGivenUp = [requester](const Group& group) {
        return group.requester == requester && !group.isConnected();
    };
    if (groups_.remove_if(isGivenUp) > 0) {
        changed();
    }
}

RouteControl::State RouteControl::state(std::string_view leader) const {
    mainQueue_.assertCurrent();
    const auto group =
        std::ranges::find_if(groups_, [leader](const Group& candidate) { return candidate.isOf(leader); });
    if (group == groups_.end() || group->hasFailed()) {
        return State::disconnected;
    }
    return group->isConnected() ? State::connected : State::connecting;
}

std::vector<ReceiverGroup> RouteControl::groups() const {
    mainQueue_.assertCurrent();
    std::vector<ReceiverGroup> groups;
    for (const Group& group : groups_) {
        if (!group.hasFailed()) {
            groups.push_back(group.asked);
        }
    }
    return groups;
}

foundation::Subscription RouteControl::observe(std::function<void()> handler) {
    return changes_.observe([handler = std::move(handler)](std::uint64_t) { handler(); });
}

RouteControl::Group* RouteControl::find(std::string_view leader) {
    const auto group =
        std::ranges::find_if(groups_, [leader](const Group& candidate) { return candidate.isOf(leader); });
    return group != groups_.end() ? &*group : nullptr;
}

RouteControl::Member* RouteControl::firstMember(dispatch::FunctionRef<bool(const Member&)> isMeant) {
    for (Group& group : groups_) {
        const auto member = std::ranges::find_if(group.members, isMeant);
        if (member != group.members.end()) {
            return &*member;
        }
    }
    const auto member = std::ranges::find_if(leaving_, isMeant);
    return member != leaving_.end() ? &*member : nullptr;
}

void RouteControl::begin(Group& group, const std::shared_ptr<Receiver>& receiver) {
    const auto isElsewhere = [&](const Member& member) {
        return &member.asked() == receiver.get() && member.group != &group;
    };
    while (Member* const other = firstMember(isElsewhere)) {
        lost(*other);
    }
    group.members.emplace_back(*this, group, receiver);
}

void RouteControl::secretWanted(Member& member, SecretKind kind) {
    mainQueue_.assertCurrent();
    Group* const group = member.group;
    if (group == nullptr || !group->isLedBy(member)) {
        return lost(member);
    }
    if (alerts_ == nullptr) {
        return end(*group);
    }
    const auto description = member.asked().description();
    group->alert = alerts_->askForSecret(
        {.kind = kind,
         .receiver = description->identifier,
         .name = description->name,
         .wasWrong = group->wasAnswered},
        [this, group](const std::optional<Secret>& answer) { answered(*group, answer); });
}

void RouteControl::answered(Group& group, const std::optional<Secret>& answer) {
    mainQueue_.assertCurrent();
    group.alert.reset();
    if (!answer) {
        return end(group);
    }
    group.wasAnswered = true;
    group.members.front().connection().answer(*answer);
}

void RouteControl::connected(Member& member, std::shared_ptr<Receiver> as) {
    mainQueue_.assertCurrent();
    route_.connect(as);
    member.as = std::move(as);
    Group& group = *member.group;
    if (group.isLedBy(member)) {
        for (std::size_t follower = 1; follower < group.asked.receivers.size(); ++follower) {
            begin(group, group.asked.receivers[follower]);
        }
    }
    changed();
}

void RouteControl::refused(Member& member) {
    mainQueue_.assertCurrent();
    Group* const group = member.group;
    if (group == nullptr || !group->isLedBy(member) || alerts_ == nullptr) {
        return lost(member);
    }
    group->members.clear();
    group->alert =
        alerts_->tellFailure(group->asked.leader().description()->name, [this, group] { remove(*group); });
    changed();
}

/// Out of the route, and gone; a leader takes its group along.
void RouteControl::lost(Member& member) {
    mainQueue_.assertCurrent();
    if (const auto as = std::exchange(member.as, nullptr)) {
        route_.disconnect(as);
    }
    if (member.group != nullptr && member.group->isLedBy(member)) {
        return end(*member.group);
    }
    std::list<Member>& owner = member.group != nullptr ? member.group->members : leaving_;
    owner.remove_if([&](const Member& candidate) { return &candidate == &member; });
    changed();
}

/// What others took from the route, or was taken out of it by hand, is lost.
void RouteControl::receiversChanged() {
    mainQueue_.assertCurrent();
    const Route::Receivers present = route_.receivers();
    const auto isTaken = [&](const Member& member) {
        return member.as != nullptr && std::ranges::find(present, member.as) == present.end();
    };
    while (Member* const taken = firstMember(isTaken)) {
        lost(*taken);
    }
}

void RouteControl::end(Group& group) {
    for (auto member = group.members.begin(); member != group.members.end();) {
        const auto next = std::next(member);
        if (member->as != nullptr) {
            member->group = nullptr;
            leaving_.splice(leaving_.end(), group.members, member);
            member->connection().disconnect();
        }
        member = next;
    }
    remove(group);
    changed();
}

void RouteControl::remove(const Group& group) {
    mainQueue_.assertCurrent();
    groups_.remove_if([&](const Group& candidate) { return &candidate == &group; });
}

} // namespace airplay
