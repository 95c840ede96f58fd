// SPDX-License-Identifier: MIT
#include "platform/airplay/embedded/EmbeddedReceiver.h"

#include "platform/airplay/embedded/EmbeddedConnection.h"
#include "platform/airplay/embedded/SoundFileOutput.h"

#include <utility>

namespace airplay {
namespace {

/// The entry of what turns up: it is asked by another name, but is the same machine.
ReceiverEntry otherEntry(const ReceiverEntry& entry) {
    return {.description = *entry.behaviour.connectsAs,
            .file = entry.file,
            .volume = entry.volume,
            .behaviour = {}};
}

} // namespace

EmbeddedReceiver::EmbeddedReceiver(ReceiverEntry entry, Surroundings surroundings)
    : surroundings_(std::move(surroundings)),
      entry_(std::make_shared<const ReceiverEntry>(std::move(entry))),
      volume_(entry_->volume) {}

std::shared_ptr<const ReceiverEntry> EmbeddedReceiver::entry() const {
    const dispatch::LockGuard guard(lock_);
    return entry_;
}

std::shared_ptr<const ReceiverDescription> EmbeddedReceiver::description() const {
    const auto entry = this->entry();
    return {entry, &entry->description};
}

void EmbeddedReceiver::setVolume(float volume) {
    // The order of the comparisons keeps a number that is none out as well.
    volume_.set(volume > 0 ? (volume < 1 ? volume : 1) : 0);
}

foundation::Subscription EmbeddedReceiver::observeVolume(std::function<void(float)> handler) {
    return volume_.observe(std::move(handler));
}

std::unique_ptr<ReceiverConnection> EmbeddedReceiver::connect(ReceiverConnectionDelegate& delegate) {
    surroundings_.mainQueue.assertCurrent();
    return std::make_unique<EmbeddedConnection>(shared_from_this(), delegate, surroundings_.mainQueue);
}

std::unique_ptr<ReceiverOutput> EmbeddedReceiver::open(const FrameGrid&) {
    return std::make_unique<SoundFileOutput>(entry(), surroundings_.report, surroundings_.observer);
}

void EmbeddedReceiver::update(ReceiverEntry entry) {
    surroundings_.mainQueue.assertCurrent();
    const auto next = std::make_shared<const ReceiverEntry>(std::move(entry));
    const auto before = this->entry();
    {
        const dispatch::LockGuard guard(lock_);
        entry_ = next;
    }
    if (other_ && next->behaviour.connectsAs) {
        turnsUpAs()->update(otherEntry(*next));
    }
    if (next->volume != before->volume) {
        setVolume(next->volume);
    }
}

std::shared_ptr<EmbeddedReceiver> EmbeddedReceiver::turnsUpAs() {
    surroundings_.mainQueue.assertCurrent();
    const auto entry = this->entry();
    if (!entry->behaviour.connectsAs) {
        return shared_from_this();
    }
    // A receiver never changes its identifier: that makes it another one.
    if (!other_ || other_->description()->identifier != entry->behaviour.connectsAs->identifier) {
        other_ = std::make_shared<EmbeddedReceiver>(otherEntry(*entry), surroundings_);
    }
    return other_;
}

void EmbeddedReceiver::add(EmbeddedConnection& connection) {
    surroundings_.mainQueue.assertCurrent();
    connections_.push_back(&connection);
}

void EmbeddedReceiver::remove(EmbeddedConnection& connection) {
    surroundings_.mainQueue.assertCurrent();
    std::erase(connections_, &connection);
}

void EmbeddedReceiver::appear() { isInSight_.set(true); }

void EmbeddedReceiver::vanish() {
    surroundings_.mainQueue.assertCurrent();
    for (EmbeddedConnection* const connection : connections_) {
        connection->receiverVanished();
    }
    isInSight_.set(false);
}

} // namespace airplay
