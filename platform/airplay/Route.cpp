// SPDX-License-Identifier: MIT
#include "platform/airplay/Route.h"

#include "platform/airplay/Playout.h"

#include <algorithm>
#include <utility>

namespace airplay {

Route::Route(std::shared_ptr<Playout> playout, std::shared_ptr<Users> users, dispatch::Queue& mainQueue)
    : mainQueue_(mainQueue),
      playout_(std::move(playout)),
      users_(std::move(users)),
      line_(std::make_shared<RoutePlayout>()) {
    playout_->addRoute(line_);
}

Route::~Route() {
    std::erase_if(*users_, [this](const auto& use) { return use.second == this; });
    playout_->removeRoute(line_);
}

Route::Receivers Route::receivers() const { return receivers_.get(); }

void Route::connect(const std::shared_ptr<Receiver>& receiver) {
    mainQueue_.assertCurrent();
    Route*& user = (*users_)[receiver.get()];
    if (user == this) {
        return;
    }
    Route* const loser = std::exchange(user, this);
    if (!epoch_) {
        epoch_ = mainQueue_.clock().now();
        playout_->begin(line_, *epoch_);
    }
    playout_->connect(line_, receiver);
    if (loser != nullptr) {
        loser->receivers_.update([&](Receivers& receivers) { std::erase(receivers, receiver); });
    }
    receivers_.update([&](Receivers& receivers) { receivers.push_back(receiver); });
}

void Route::disconnect(const std::shared_ptr<Receiver>& receiver) {
    mainQueue_.assertCurrent();
    const auto use = users_->find(receiver.get());
    if (use == users_->end() || use->second != this) {
        return;
    }
    users_->erase(use);
    playout_->disconnect(line_, receiver);
    receivers_.update([&](Receivers& receivers) { std::erase(receivers, receiver); });
}

void Route::disconnectAll() {
    for (const auto& receiver : receivers()) {
        disconnect(receiver);
    }
}

foundation::Subscription Route::observeReceivers(foundation::Observable<Receivers>::Handler handler) {
    return receivers_.observe(std::move(handler));
}

void Route::setProcess(std::optional<ProcessIdentifier> process) {
    mainQueue_.assertCurrent();
    process_ = process;
    playout_->tie(line_, process);
}

std::optional<ProcessIdentifier> Route::process() const {
    mainQueue_.assertCurrent();
    return process_;
}

std::optional<dispatch::HostTime> Route::epoch() const {
    mainQueue_.assertCurrent();
    return epoch_;
}

} // namespace airplay
