// SPDX-License-Identifier: MIT
#include "platform/lmn/embedded/PlayerRoster.h"

#include <utility>
#include <vector>

namespace lmn {
namespace {

/// Leads the channels of a stereo block into `buffer` as the mappings say.
void mixMapped(std::span<const float> block, const std::vector<LMNChannelMapping>& mappings,
               LMNBuffer& buffer) {
    for (const LMNChannelMapping& mapping : mappings) {
        if (mapping.source - 1 >= ServedDevice::channelCount ||
            mapping.destination - 1 >= buffer.channelCount())
            continue;
        for (std::uint32_t frame = 0; frame < buffer.frameCount(); ++frame)
            buffer.samples()[frame * buffer.channelCount() + mapping.destination - 1] +=
                block[frame * ServedDevice::channelCount + mapping.source - 1];
    }
}

bool isStraight(const std::vector<LMNChannelMapping>& mappings) {
    return mappings.size() == 2 && mappings[0].source == 1 && mappings[0].destination == 1 &&
           mappings[1].source == 2 && mappings[1].destination == 2;
}

} // namespace

PlayerRoster::PlayerRoster(std::shared_ptr<LMNDevice> device, dispatch::Queue& serverQueue)
    : device_(std::move(device)), serverQueue_(serverQueue) {}

PlayerRoster::~PlayerRoster() { device_->activeProcesses().set({}); }

PlayerVoice* PlayerRoster::join(LMNProcess process, std::function<void()> wantsFrames) {
    serverQueue_.assertCurrent();
    if (!attention_)
        attention_ = std::make_unique<dispatch::Signal>(serverQueue_, [weak = weak_from_this()] {
            if (const auto self = weak.lock())
                self->attendToPlayers();
        });
    for (Place& place : places_) {
        if (place.owned && place.owned->state() != PlayerVoice::State::free)
            continue;
        if (!place.owned)
            place.owned = std::make_unique<PlayerVoice>();
        place.owned->join(std::move(process));
        place.wantsFrames = std::move(wantsFrames);
        place.voice.store(place.owned.get(), std::memory_order_release);
        return place.owned.get();
    }
    return nullptr;
}

void PlayerRoster::framesArrived(PlayerVoice& voice) {
    serverQueue_.assertCurrent();
    if (!voice.hasPlayed() && voice.hasEnded() && voice.fifo().available() == 0)
        return voice.release(); // it came without a frame
    if (!voice.startIfReady())
        return;
    publishProcesses();
    std::vector<std::function<void()>> handlers;
    {
        const dispatch::LockGuard guard(handlersLock_);
        for (const auto& [id, handler] : handlers_)
            handlers.push_back(handler);
    }
    for (const auto& handler : handlers)
        handler();
}

void PlayerRoster::forget(const PlayerVoice& voice) {
    serverQueue_.assertCurrent();
    for (Place& place : places_)
        if (place.owned.get() == &voice)
            place.wantsFrames = nullptr;
}

foundation::Subscription PlayerRoster::observeSoundBegins(std::function<void()> handler) {
    const dispatch::LockGuard guard(handlersLock_);
    const std::uint64_t id = nextHandler_++;
    handlers_.emplace(id, std::move(handler));
    return foundation::Subscription([weak = weak_from_this(), id] {
        if (const auto self = weak.lock()) {
            const dispatch::LockGuard inner(self->handlersLock_);
            self->handlers_.erase(id);
        }
    });
}

template <typename Visit>
void PlayerRoster::forEachVoice(Visit visit) const {
    for (const Place& place : places_)
        if (PlayerVoice* voice = place.voice.load(std::memory_order_acquire))
            visit(*voice);
}

void PlayerRoster::advance(std::uint64_t period, std::uint32_t frames) noexcept {
    if (std::exchange(period_, period) == period)
        return;
    bool attention = false;
    forEachVoice([&](PlayerVoice& voice) {
        voice.advance(frames);
        attention |= voice.needsAttention();
    });
    if (attention)
        attention_->raise();
}

bool PlayerRoster::mix(const LMNSource& source, LMNBuffer& buffer) noexcept {
    bool sounding = false;
    forEachVoice([&](PlayerVoice& voice) {
        const std::span<const float> block = voice.block();
        if (block.empty() || !source.captures(voice.process()))
            return;
        sounding = true;
        if (isStraight(source.channelMappings) && buffer.channelCount() == channelCount)
            buffer.mixFromInterleavedFloats(block.data());
        else
            mixMapped(block, source.channelMappings, buffer);
    });
    return sounding;
}

bool PlayerRoster::hasSound(const LMNSource& source) const noexcept {
    bool sound = false;
    forEachVoice([&](PlayerVoice& voice) {
        sound |= voice.state() == PlayerVoice::State::playing && source.captures(voice.process());
    });
    return sound;
}

std::uint64_t PlayerRoster::underruns() const {
    std::uint64_t sum = 0;
    forEachVoice([&](PlayerVoice& voice) { sum += voice.underruns(); });
    return sum;
}

void PlayerRoster::attendToPlayers() {
    bool left = false;
    for (Place& place : places_) {
        if (!place.owned)
            continue;
        if (place.owned->state() == PlayerVoice::State::drained) {
            place.owned->release();
            left = true;
            continue;
        }
        framesArrived(*place.owned);
        if (place.wantsFrames && place.owned->wantsFrames())
            place.wantsFrames();
    }
    if (left)
        publishProcesses();
}

void PlayerRoster::publishProcesses() {
    LMNProcessSet processes;
    for (const Place& place : places_) {
        // Who ran dry is still at it; who has joined and sent nothing yet is not.
        if (place.owned && place.owned->state() != PlayerVoice::State::free && place.owned->hasPlayed())
            processes.insert(place.owned->process());
    }
    device_->activeProcesses().set(std::move(processes));
}

} // namespace lmn
