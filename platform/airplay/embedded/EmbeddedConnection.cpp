// SPDX-License-Identifier: MIT
#include "platform/airplay/embedded/EmbeddedConnection.h"

#include <utility>

namespace airplay {

using Outcome = ReceiverBehaviour::Outcome;

EmbeddedConnection::EmbeddedConnection(std::shared_ptr<EmbeddedReceiver> receiver,
                                       ReceiverConnectionDelegate& delegate, dispatch::Queue& mainQueue)
    : receiver_(std::move(receiver)), entry_(receiver_->entry()), delegate_(delegate), mainQueue_(mainQueue) {
    receiver_->add(*this);
    if (entry_->behaviour.wanted) {
        next({}, &EmbeddedConnection::ask);
    } else {
        next(entry_->behaviour.connectDelay, &EmbeddedConnection::conclude);
    }
}

EmbeddedConnection::~EmbeddedConnection() {
    receiver_->remove(*this);
    next_->cancel();
}

void EmbeddedConnection::answer(const Secret& secret) {
    mainQueue_.assertCurrent();
    if (state_ != State::asking) {
        return;
    }
    state_ = State::underWay;
    if (secret == entry_->behaviour.wanted->secret) {
        next(entry_->behaviour.connectDelay, &EmbeddedConnection::conclude);
    } else {
        next({}, &EmbeddedConnection::ask);
    }
}

void EmbeddedConnection::disconnect() {
    mainQueue_.assertCurrent();
    if (state_ == State::underWay || state_ == State::asking) {
        state_ = State::leaving;
        next(entry_->behaviour.disconnectDelay, &EmbeddedConnection::lose);
    }
}

void EmbeddedConnection::receiverVanished() {
    if (state_ != State::over) {
        state_ = State::leaving;
        next({}, &EmbeddedConnection::lose);
    }
}

void EmbeddedConnection::next(dispatch::Nanoseconds delay, void (EmbeddedConnection::*event)()) {
    if (next_) {
        next_->cancel();
    }
    next_ = mainQueue_.asyncAfter(delay, [this, event] {
        mainQueue_.assertCurrent();
        (this->*event)();
    });
}

void EmbeddedConnection::ask() {
    state_ = State::asking;
    delegate_.secretWanted(entry_->behaviour.wanted->kind);
}

void EmbeddedConnection::conclude() {
    switch (entry_->behaviour.outcome) {
        case Outcome::connects:
            return connected();
        case Outcome::refuses:
            return refuse();
        case Outcome::never:
            return;
        case Outcome::vanishes:
            return receiver_->vanish();
    }
}

// The delegate may destroy this in any call: it is the last thing done.

void EmbeddedConnection::connected() {
    if (entry_->behaviour.lostAfter) {
        next(*entry_->behaviour.lostAfter, &EmbeddedConnection::lose);
    }
    delegate_.connected(receiver_->turnsUpAs());
}

void EmbeddedConnection::refuse() {
    state_ = State::over;
    delegate_.refused();
}

void EmbeddedConnection::lose() {
    state_ = State::over;
    delegate_.lost();
}

} // namespace airplay
