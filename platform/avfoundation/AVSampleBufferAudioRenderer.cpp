// SPDX-License-Identifier: MIT
#include "platform/avfoundation/AVSampleBufferAudioRenderer.h"

#include "platform/avfoundation/PlaybackCore.h"

#include <fmt/format.h>

#include <utility>

namespace avfoundation {
namespace {

constexpr coremedia::AudioStreamBasicDescription playable =
    coremedia::packedFloatDescription(airplay::frameRate, airplay::channelCount);

/// About 136 years: what is further away cannot be meant, and need not be reckoned with.
constexpr std::int64_t farthestSeconds = std::int64_t{1} << 32;

std::string describe(const coremedia::AudioStreamBasicDescription& format) {
    return fmt::format("{} channels of {} bits at {} Hz, flags {}", format.channelsPerFrame,
                       format.bitsPerChannel, format.sampleRate, format.formatFlags);
}

/// Empty when a buffer can be played.
std::string objectionTo(const coremedia::CMSampleBuffer& buffer) {
    const auto& format = coremedia::CMSampleBufferGetFormatDescription(buffer)->streamBasicDescription();
    if (format != playable) {
        return describe(format);
    }
    const coremedia::CMTime time = coremedia::CMSampleBufferGetPresentationTimeStamp(buffer);
    const std::int64_t seconds = time.value / time.timescale;
    if (seconds > farthestSeconds || seconds < -farthestSeconds) {
        return fmt::format("presentation time {} s", seconds);
    }
    return {};
}

dispatch::HostTime hostTimeOf(airplay::Ticks media, const MediaClock& clock) {
    const airplay::Ticks later = media - clock.media + airplay::ticksPerNanosecond - 1;
    return clock.host + dispatch::Nanoseconds{static_cast<std::int64_t>(
                            airplay::floorQuotient(later, airplay::ticksPerNanosecond))};
}

} // namespace

AVSampleBufferAudioRenderer::AVSampleBufferAudioRenderer(airplay::PlaybackSystem& system,
                                                         airplay::ProcessIdentifier process,
                                                         EnqueueObserver observer)
    : system_(system),
      process_(process),
      observer_(std::move(observer)),
      line_(std::make_shared<PlaybackLine>(readyLimit)) {}

AVSampleBufferAudioRenderer::~AVSampleBufferAudioRenderer() {
    line_->close();
    system_.detach(line_);
}

void AVSampleBufferAudioRenderer::enqueueSampleBuffer(
    std::shared_ptr<const coremedia::CMSampleBuffer> buffer) {
    if (const std::string objection = objectionTo(*buffer); !objection.empty()) {
        if (refused_.fetch_add(1) == 0) {
            system_.report()(fmt::format("audio renderer: buffer dropped, cannot play {}", objection));
        }
        return;
    }
    EnqueuedBuffer enqueued{.presentationTime = coremedia::CMSampleBufferGetPresentationTimeStamp(*buffer),
                            .frames = coremedia::CMSampleBufferGetNumSamples(*buffer),
                            .heardAt = {},
                            .enqueuedAt = system_.realm().clock().cycleTime()};
    MediaClock clock;
    const bool taken = line_->tell({.kind = PlayoutCommand::Kind::enqueue,
                                    .at = enqueued.enqueuedAt,
                                    .clock = {},
                                    .buffer = std::move(buffer)},
                                   clock);
    if (!taken) {
        return;
    }
    system_.wake();
    if (observer_) {
        if (clock.running) {
            enqueued.heardAt = hostTimeOf(ticksOf(enqueued.presentationTime), clock);
        }
        observer_(enqueued);
    }
}

void AVSampleBufferAudioRenderer::flush() noexcept {
    MediaClock clock;
    line_->tell({.kind = PlayoutCommand::Kind::flush,
                 .at = system_.realm().clock().cycleTime(),
                 .clock = {},
                 .buffer = {}},
                clock);
    system_.wake();
}

bool AVSampleBufferAudioRenderer::isReadyForMoreMediaData() const noexcept {
    return line_->requests()->isReady();
}

void AVSampleBufferAudioRenderer::requestMediaDataWhenReady(dispatch::Queue& queue,
                                                            std::function<dispatch::Task<>()> handler) {
    line_->requests()->install(queue, std::move(handler));
}

void AVSampleBufferAudioRenderer::stopRequestingMediaData() noexcept { line_->requests()->stop(); }

RendererCounters AVSampleBufferAudioRenderer::counters() const {
    return {.timeline = line_->counters(), .refused = refused_.load(), .overflowed = line_->overflowed()};
}

} // namespace avfoundation
