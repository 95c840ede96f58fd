// SPDX-License-Identifier: MIT
#include "ORBRouteService/audio/RenderTimeline.h"

#include <algorithm>
#include <cmath>

namespace orb {

using coremedia::CMTime;

RenderTimeline::RenderTimeline(std::uint32_t chunkSize, double sampleRate, double syncLatency)
    : sampleRate_(sampleRate),
      chunkDuration_(chunkSize / sampleRate),
      syncLatency_(syncLatency),
      timescale_(static_cast<std::int32_t>(std::lround(sampleRate))) {}

void RenderTimeline::reset(const CMTime& now) {
    didApplyStartupSyncCorrection_ = false;
    resetAnchorTime_ = now;
    pendingTimebaseReset_ = false;
    lastSampleTime_ = coremedia::kCMTimeZero;
}

void RenderTimeline::anchorAt(const CMTime& now) {
    resetAnchorTime_ = now;
    pendingTimebaseReset_ = true;
}

RenderTimeline::ChunkTime RenderTimeline::timeChunk(std::uint32_t frames) {
    ChunkTime chunk{
        .presentationTime = lastSampleTime_, .duration = frames / sampleRate_, .start = std::nullopt};
    if (pendingTimebaseReset_) {
        chunk.start = {.anchor = resetAnchorTime_, .latency = std::max(syncLatency_, 0.0)};
        chunk.presentationTime = CMTimeAdd(resetAnchorTime_, mediaTime(chunk.start->latency));
        pendingTimebaseReset_ = false;
    }
    lastSampleTime_ = CMTimeAdd(chunk.presentationTime, mediaTime(chunk.duration));
    return chunk;
}

double RenderTimeline::buffered(const CMTime& now) const {
    return CMTimeGetSeconds(CMTimeSubtract(lastSampleTime_, now));
}

RenderTimeline::Position RenderTimeline::positionOf(const CMTime& presentationTime, const CMTime& now) const {
    const double ahead = CMTimeGetSeconds(CMTimeSubtract(presentationTime, now));
    const double effective = chunkDuration_ + ahead;
    return {.ahead = ahead, .effectiveLatency = effective, .delta = effective - syncLatency_};
}

RenderTimeline::Step RenderTimeline::correct(const Position& position, bool prioritizeSync) {
    const double deviation = std::fabs(position.delta);
    const bool earlier = position.delta > 0;
    if (isStartingSync_ && !didApplyStartupSyncCorrection_ && deviation >= coarseThreshold()) {
        didApplyStartupSyncCorrection_ = true;
        isStartingSync_ = false;
        const double limit = std::max(1.5 * syncLatency_, 4 * chunkDuration_);
        return moveBy(Correction::startup, std::min(deviation, limit), earlier);
    }
    if (prioritizeSync && fineThreshold() < deviation && deviation < coarseThreshold())
        return moveBy(Correction::fine, std::min(0.0005 * chunkDuration_, 0.02 * deviation), earlier);
    return {};
}

double RenderTimeline::coarseThreshold() const { return std::max(0.8 * syncLatency_, 0.5); }

double RenderTimeline::fineThreshold() const { return std::max(0.01 * syncLatency_, 0.02); }

RenderTimeline::Step RenderTimeline::moveBy(Correction kind, double seconds, bool earlier) {
    const CMTime step = mediaTime(seconds);
    lastSampleTime_ = earlier ? CMTimeSubtract(lastSampleTime_, step) : CMTimeAdd(lastSampleTime_, step);
    return {.kind = kind, .seconds = seconds, .earlier = earlier};
}

CMTime RenderTimeline::mediaTime(double seconds) const {
    return coremedia::CMTimeMakeWithSeconds(seconds, timescale_);
}

} // namespace orb
