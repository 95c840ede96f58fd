// SPDX-License-Identifier: MIT
#include "platform/avkit/AVRoutePickerRemoteViewController.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace avkit {

using airplay::ReceiverGroup;
using airplay::RouteControl;

namespace {

std::string leaderOf(const ReceiverGroup& group) { return group.leader().description()->identifier; }

auto ledBy(const std::string& leader) {
    return [&leader](const ReceiverGroup& group) { return leaderOf(group) == leader; };
}

} // namespace

AVRoutePickerRemoteViewController::AVRoutePickerRemoteViewController(dispatch::Queue& mainQueue,
                                                                     airplay::Discovery& discovery)
    : mainQueue_(mainQueue), discovery_(discovery) {}

AVRoutePickerRemoteViewController::~AVRoutePickerRemoteViewController() {
    if (context_) {
        context_->control().giveUp(this);
    }
}

void AVRoutePickerRemoteViewController::setOutputContext(
    std::shared_ptr<avfoundation::AVOutputContext> context) {
    mainQueue_.assertCurrent();
    if (context == context_) {
        return;
    }
    controlChanges_.cancel();
    if (context_) {
        context_->control().giveUp(this);
    }
    context_ = std::move(context);
    if (context_) {
        controlChanges_ = context_->control().observe([this] { update(); });
    }
    update();
}

void AVRoutePickerRemoteViewController::startDiscoveringAudioRoutes() {
    mainQueue_.assertCurrent();
    if (!search_) {
        search_ = discovery_.search([this](const airplay::Discovery::Receivers& inSight) {
            inSight_ = inSight;
            update();
        });
    }
}

void AVRoutePickerRemoteViewController::stopDiscoveringAudioRoutes() {
    mainQueue_.assertCurrent();
    search_.reset();
    inSight_.clear();
    update();
}

void AVRoutePickerRemoteViewController::setRevealsAllRoutes(bool reveals) {
    mainQueue_.assertCurrent();
    revealsAllRoutes_ = reveals;
    update();
}

void AVRoutePickerRemoteViewController::loadView(accessibility::AXTreeElement& view) {
    table_.emplace(view);
    update();
}

void AVRoutePickerRemoteViewController::unloadView() { table_.reset(); }

void AVRoutePickerRemoteViewController::update() {
    if (!table_) {
        return;
    }
    std::vector<RoutePickerTable::Row> rows;
    for (const ReceiverGroup& group : groups()) {
        const auto description = group.leader().description();
        const std::string key = description->row ? fmt::format("shared {}", *description->row)
                                                 : fmt::format("of {}", description->identifier);
        auto row = std::ranges::find(rows, key, &RoutePickerTable::Row::key);
        if (row == rows.end()) {
            row = rows.insert(row, {key, description->row.value_or(description->name), {}});
        }
        row->checkBoxes.push_back(checkBox(group));
    }
    table_->show(rows);
}

/// One for each check box.
std::vector<ReceiverGroup> AVRoutePickerRemoteViewController::groups() const {
    std::vector<ReceiverGroup> shown = groupsInSight();
    if (!revealsAllRoutes_) {
        std::erase_if(shown, [this](const ReceiverGroup& group) {
            return state(group) == RouteControl::State::disconnected;
        });
    }
    if (context_) {
        std::vector<ReceiverGroup> outOfSight = context_->control().groups();
        std::erase_if(outOfSight, [&](const ReceiverGroup& group) {
            return std::ranges::any_of(shown, ledBy(leaderOf(group)));
        });
        shown.insert(shown.begin(), outOfSight.begin(), outOfSight.end());
    }
    return shown;
}

std::vector<ReceiverGroup> AVRoutePickerRemoteViewController::groupsInSight() const {
    airplay::Discovery::Receivers receivers = inSight_;
    const auto sharing = std::ranges::stable_partition(
        receivers, [](const auto& receiver) { return !receiver->description()->row; });
    const airplay::Discovery::Receivers sharers(sharing.begin(), sharing.end());
    receivers.erase(sharing.begin(), sharing.end());
    std::vector<ReceiverGroup> groups = airplay::groupsOf(receivers);
    for (const auto& receiver : sharers) {
        groups.push_back({{receiver}});
    }
    return groups;
}

RouteControl::State AVRoutePickerRemoteViewController::state(const ReceiverGroup& group) const {
    return context_ ? context_->control().state(leaderOf(group)) : RouteControl::State::disconnected;
}

RoutePickerTable::CheckBox AVRoutePickerRemoteViewController::checkBox(const ReceiverGroup& group) {
    if (state(group) == RouteControl::State::connected) {
        return {leaderOf(group), true, [this, group] { disconnect(group); }};
    }
    return {leaderOf(group), false, [this, group] { connect(group); }};
}

void AVRoutePickerRemoteViewController::connect(const ReceiverGroup& group) {
    if (!context_) {
        return;
    }
    RouteControl& control = context_->control();
    if (!context_->supportsMultipleOutputDevices()) {
        for (const ReceiverGroup& other : control.groups()) {
            if (leaderOf(other) != leaderOf(group)) {
                control.disconnect(leaderOf(other));
            }
        }
    }
    control.connect(group, this);
    update();
}

void AVRoutePickerRemoteViewController::disconnect(const ReceiverGroup& group) {
    if (context_) {
        context_->control().disconnect(leaderOf(group));
        update();
    }
}

} // namespace avkit
