// SPDX-License-Identifier: MIT
#include "orbctl/job/Player.h"

#include "platform/dispatch/runOn.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace orbctl {
namespace {

/// Sent at once; a tenth of a second.
constexpr std::size_t blockFrames = 4096;

/// A device is served as soon as its service captures it.
constexpr int connectAttempts = 100;
constexpr auto connectPause = std::chrono::milliseconds(50);

/// Silence before the sound, s: a service drops the first tenth of a second, in which its devices settle.
constexpr double leadIn = 0.5;

/// Silence on top of the latency, s: the far end takes whole chunks.
constexpr double tailMargin = 0.7;

/// A service that captures silence for 3 s drops what is still on its way. Where that is more, a single step
/// of a 16-bit sample comes within each of these intervals, s, of the tail. The devices are left before it is
/// heard, but for those of a service that stood still and plays no later for it.
constexpr double stirInterval = 2.5;
constexpr float stir = 1.0F / 32768;

/// A service that stood still for so many latencies, or s at least, plays later from then on, by as many
/// latencies, or s at least, as follow.
constexpr double standstillLatencies = 0.8;
constexpr double shortestStandstill = 0.5;
constexpr double delayLatencies = 1.5;
constexpr double shortestDelay = 0.75;

/// On top of what the devices should need for what they have, s.
constexpr double playOutMargin = 0.5;

FrameNumber framesIn(double seconds) { return std::llround(seconds * framesPerSecond); }

double secondsOf(FrameNumber frames) { return static_cast<double>(frames) / framesPerSecond; }

} // namespace

Player::Player(dispatch::Realm& realm, std::unique_ptr<FrameReader> sound, double latency, Events events)
    : realm_(realm),
      sound_(std::move(sound)),
      leadFrames_(framesIn(leadIn)),
      tailFrames_(framesIn(latency + tailMargin)),
      tailAfterStandstill_(framesIn(std::max(delayLatencies * latency, shortestDelay))),
      standstill_(dispatch::toNanoseconds(std::max(standstillLatencies * latency, shortestStandstill))),
      latency_(latency + leadIn),
      events_(std::move(events)),
      block_(blockFrames * channelCount),
      queue_(realm.makeQueue("orbctl.player")) {}

Player::~Player() {
    stop();
    queue_.reset();
}

dispatch::Task<> Player::addDevice(std::string uid, const foundation::RuntimeDirectory& device) {
    std::optional<std::string> failure;
    for (int attempt = 0; attempt < connectAttempts; ++attempt) {
        failure = co_await dispatch::runOn(*queue_, connect(uid, device));
        if (!failure) {
            co_return;
        }
        co_await dispatch::sleepFor(connectPause);
    }
    throw std::runtime_error(*failure);
}

/// Why there is no connection.
dispatch::Task<std::optional<std::string>> Player::connect(std::string uid,
                                                           const foundation::RuntimeDirectory& device) {
    try {
        lmn::PlayerClient client(device, lmn::PlayerHello{.name = "orbctl"});
        outputs_.push_back({std::move(uid), std::move(client)});
        co_return std::nullopt;
    } catch (const std::exception& error) {
        co_return error.what();
    }
}

void Player::start() {
    queue_->async([this] { pump(); });
}

/// One block in each turn, so that the queue stays open for others.
void Player::pump() {
    if (isStopped_->load()) {
        return;
    }
    try {
        const std::size_t frames = nextBlock();
        if (isStopped_->load()) {
            return; // whatever this refers to may be gone
        }
        if (frames == 0 || outputs_.empty()) {
            outputs_.clear(); // what they have plays out
            finish(std::nullopt);
            return;
        }
        send({block_.data(), frames * channelCount});
    } catch (const std::exception& error) {
        finish(error.what());
        return;
    }
    queue_->async([this] { pump(); });
}

/// Silence, sound, silence; 0 at the end.
std::size_t Player::nextBlock() {
    if (leadFrames_ > 0) {
        return silence(leadFrames_);
    }
    const std::size_t frames = sound_->read(block_);
    if (frames > 0) {
        soundFrames_ += static_cast<FrameNumber>(frames);
        return frames;
    }
    return tail();
}

/// A block of it, with what keeps the service from taking it for the end.
std::size_t Player::tail() {
    const std::size_t frames = silence(tailFrames_);
    const FrameNumber end = tailSent_ + static_cast<FrameNumber>(frames);
    const FrameNumber interval = framesIn(stirInterval);
    const FrameNumber next = (tailSent_ / interval + 1) * interval;
    if (next < end) {
        block_[static_cast<std::size_t>(next - tailSent_) * channelCount] = stir;
    }
    tailSent_ = end;
    return frames;
}

/// A block of what is left of it.
std::size_t Player::silence(FrameNumber& left) {
    std::ranges::fill(block_, 0.0F);
    const FrameNumber frames = std::min<FrameNumber>(left, blockFrames);
    left -= frames;
    return static_cast<std::size_t>(frames);
}

void Player::send(std::span<const float> block) {
    const dispatch::HostTime begin = realm_.clock().now();
    std::erase_if(outputs_, [&](Output& output) {
        try {
            output.client.write(block);
            return false;
        } catch (const std::exception& error) {
            tellMain({}, [this, uid = output.uid, reason = std::string(error.what())] {
                events_.lost(uid, reason);
            });
            return true;
        }
    });
    noteTaken(realm_.clock().now() - begin);
    noteSent(block);
}

void Player::noteTaken(dispatch::Nanoseconds duration) {
    if (duration > standstill_ && !std::exchange(stoodStill_, true)) {
        tailFrames_ += tailAfterStandstill_;
    }
}

/// A device that ran dry has lost the time until more came.
void Player::noteSent(std::span<const float> block) {
    float peak = 0;
    for (const float sample : block) {
        peak = std::max(peak, std::abs(sample));
    }
    const dispatch::HostTime now = realm_.clock().now();
    const dispatch::LockGuard guard(lock_);
    const auto sentSoFar = dispatch::toNanoseconds(sent_);
    start_ = std::max(start_.value_or(now), now - sentSoFar);
    sent_ += secondsOf(static_cast<FrameNumber>(frameCount(block)));
    soundSent_ = secondsOf(soundFrames_);
    peaks_.push_back({sent_ - leadIn, peak});
}

dispatch::Nanoseconds Player::unplayed() {
    const dispatch::LockGuard guard(lock_);
    return start_ ? *start_ + dispatch::toNanoseconds(sent_ + playOutMargin) - realm_.clock().now()
                  : dispatch::Nanoseconds{0};
}

void Player::finish(std::optional<std::string> failure) {
    const dispatch::Nanoseconds delay = failure ? dispatch::Nanoseconds{0} : unplayed();
    tellMain(delay, [this, failure = std::move(failure)] { events_.finished(failure); });
}

/// The player may have gone by then.
void Player::tellMain(dispatch::Nanoseconds delay, std::function<void()> tell) {
    realm_.mainQueue().asyncAfter(delay, [isStopped = isStopped_, tell = std::move(tell)] {
        if (!isStopped->load()) {
            tell();
        }
    });
}

PlayerFigures Player::figures() {
    const dispatch::LockGuard guard(lock_);
    const double elapsed = start_ ? dispatch::toSeconds(realm_.clock().now() - *start_) : 0;
    const double heard = std::max(elapsed - latency_, 0.0);
    float peak = 0;
    for (; !peaks_.empty() && peaks_.front().end <= heard; peaks_.pop_front()) {
        peak = std::max(peak, peaks_.front().value);
    }
    return {.heard = std::min(heard, soundSent_), .buffered = std::max(sent_ - elapsed, 0.0), .peak = peak};
}

} // namespace orbctl
