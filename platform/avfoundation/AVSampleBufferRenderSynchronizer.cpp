// SPDX-License-Identifier: MIT
#include "platform/avfoundation/AVSampleBufferRenderSynchronizer.h"

#include "platform/avfoundation/AVSampleBufferAudioRenderer.h"
#include "platform/avfoundation/PlaybackCore.h"

namespace avfoundation {
namespace {

constexpr std::int64_t ticksPerUnit = airplay::ticksPerSecond / coremedia::kCMTimeAudioTimescale;
static_assert(ticksPerUnit * coremedia::kCMTimeAudioTimescale == airplay::ticksPerSecond);

} // namespace

AVSampleBufferRenderSynchronizer::AVSampleBufferRenderSynchronizer(dispatch::Realm& realm,
                                                                   foundation::NotificationCenter& center)
    : clock_(realm.clock()),
      core_(std::make_shared<PlaybackCore>()),
      rateChanged_(realm.mainQueue(), [&center, object = static_cast<const void*>(this)] {
          center.post(AVSampleBufferRenderSynchronizerRateDidChangeNotification, object);
      }) {}

AVSampleBufferRenderSynchronizer::~AVSampleBufferRenderSynchronizer() = default;

float AVSampleBufferRenderSynchronizer::rate() const noexcept { return core_->isRunning() ? 1.0F : 0.0F; }

void AVSampleBufferRenderSynchronizer::setRate(float rate) noexcept {
    if (core_->setRunning(rate > 0, clock_.cycleTime())) {
        rateChanged_.raise();
    }
}

coremedia::CMTime AVSampleBufferRenderSynchronizer::currentTime() const noexcept {
    const airplay::Ticks media = core_->read(clock_.cycleTime());
    return coremedia::CMTimeMake(static_cast<std::int64_t>(airplay::floorQuotient(media, ticksPerUnit)),
                                 coremedia::kCMTimeAudioTimescale);
}

void AVSampleBufferRenderSynchronizer::addRenderer(AVSampleBufferAudioRenderer& renderer) {
    core_->add(renderer.line_, renderer.system_, renderer.process_);
}

} // namespace avfoundation
