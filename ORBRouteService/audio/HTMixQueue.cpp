// SPDX-License-Identifier: MIT
#include "ORBRouteService/audio/HTMixQueue.h"

#include <algorithm>

namespace orb {

using Guard = dispatch::LockGuard<dispatch::RecursiveLock>;

HTMixQueue::HTMixQueue(std::uint32_t channels, double rate, std::uint32_t size)
    : queueSize_(size), rate_(rate) {
    configure(channels);
    const Guard guard(lock_);
    empty();
}

void HTMixQueue::configure(std::uint32_t channels) {
    const Guard guard(lock_);
    if (channels == channels_)
        return;
    allocatedSize_ = std::int64_t{channels} * queueSize_ * 2;
    channels_ = channels;
    samples_ = std::vector<float>(static_cast<std::size_t>(allocatedSize_));
    empty();
}

void HTMixQueue::write(const lmn::LMNBuffer& buffer, std::int64_t sampleTime) {
    const Guard guard(lock_);
    if (!matches(buffer) || sampleTime < 0)
        return;
    lastWriteSampleTime_ = sampleTime;
    const std::size_t at = position(sampleTime);
    buffer.mixToInterleavedFloats(samples_.data() + at);
    const std::span<float> runOver = runOverOf(buffer, at);
    lmn::mixInto(std::span(samples_).first(runOver.size()), runOver);
    std::ranges::fill(runOver, 0.0F);
    hasAudio_ = hasAudio_ || sampleTime == 0 || !buffer.isSilenceStrict(0);
}

void HTMixQueue::read(lmn::LMNBuffer& buffer) {
    const Guard guard(lock_);
    if (!hasAudio_ || !matches(buffer) || buffer.frameCount() == 0 || lastWriteSampleTime_ < 0)
        return;
    lastReadSampleTime_ = std::max<std::int64_t>(lastReadSampleTime_, 0);
    const std::size_t at = position(lastReadSampleTime_);
    const std::span<float> runOver = runOverOf(buffer, at);
    const std::span<float> begin = std::span(samples_).first(runOver.size());
    std::ranges::copy(begin, runOver.begin());
    std::ranges::fill(begin, 0.0F);
    buffer.mixFromInterleavedFloats(samples_.data() + at);
    std::fill_n(samples_.data() + at, std::size_t{buffer.frameCount()} * channels_, 0.0F);
    lastReadSampleTime_ += buffer.frameCount();
}

void HTMixQueue::nextWriteSampleTime(std::uint32_t frames, std::int64_t& sampleTime) const {
    const std::int64_t readTime = getLastReadSampleTime();
    const std::int64_t notBehind = std::max(sampleTime, readTime);
    const std::int64_t corrected = std::max<std::int64_t>(notBehind, 0);
    sampleTime = notBehind > 0 && corrected - readTime > std::int64_t{frames} ? readTime : corrected;
}

void HTMixQueue::reset() {
    const Guard guard(lock_);
    empty();
}

std::int64_t HTMixQueue::readLatency() const {
    const Guard guard(lock_);
    return std::min<std::int64_t>(lastWriteSampleTime_ - lastReadSampleTime_, queueSize_);
}

double HTMixQueue::readLatencySeconds() const {
    const Guard guard(lock_);
    return static_cast<double>(readLatency()) / rate_;
}

std::int64_t HTMixQueue::getLastReadSampleTime() const {
    const Guard guard(lock_);
    return lastReadSampleTime_;
}

std::size_t HTMixQueue::position(std::int64_t sampleTime) const {
    return static_cast<std::size_t>(sampleTime % queueSize_) * channels_;
}

bool HTMixQueue::matches(const lmn::LMNBuffer& buffer) const {
    const std::size_t wantedStorage = std::size_t{channels_} * queueSize_ * 2;
    return buffer.sampleRate() == rate_ && buffer.channelCount() == channels_ &&
           buffer.frameCount() <= queueSize_ && wantedStorage <= samples_.size();
}

std::span<float> HTMixQueue::runOverOf(const lmn::LMNBuffer& buffer, std::size_t at) {
    const std::size_t ring = std::size_t{queueSize_} * channels_;
    const std::size_t end = at + std::size_t{buffer.frameCount()} * channels_;
    return std::span(samples_).subspan(ring, std::max(end, ring) - ring);
}

void HTMixQueue::empty() {
    hasAudio_ = false;
    lastReadSampleTime_ = -1;
    lastWriteSampleTime_ = -1;
    std::ranges::fill(samples_, 0.0F);
}

std::uint32_t HTMixQueue::channels() const {
    const Guard guard(lock_);
    return channels_;
}

void HTMixQueue::setChannels(std::uint32_t channels) {
    const Guard guard(lock_);
    channels_ = channels;
}

double HTMixQueue::rate() const {
    const Guard guard(lock_);
    return rate_;
}

void HTMixQueue::setRate(double rate) {
    const Guard guard(lock_);
    rate_ = rate;
}

std::int64_t HTMixQueue::allocatedSize() const {
    const Guard guard(lock_);
    return allocatedSize_;
}

void HTMixQueue::setAllocatedSize(std::int64_t size) {
    const Guard guard(lock_);
    allocatedSize_ = size;
}

bool HTMixQueue::hasAudio() const {
    const Guard guard(lock_);
    return hasAudio_;
}

void HTMixQueue::setHasAudio(bool hasAudio) {
    const Guard guard(lock_);
    hasAudio_ = hasAudio;
}

bool HTMixQueue::logging() const {
    const Guard guard(lock_);
    return logging_;
}

void HTMixQueue::setLogging(bool logging) {
    const Guard guard(lock_);
    logging_ = logging;
}

} // namespace orb
