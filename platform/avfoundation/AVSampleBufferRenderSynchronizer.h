// SPDX-License-Identifier: MIT
#pragma once

#include "platform/coremedia/CMTime.h"
#include "platform/dispatch/Realm.h"
#include "platform/dispatch/Signal.h"
#include "platform/foundation/NotificationCenter.h"

#include <atomic>
#include <memory>

namespace avfoundation {

class AVSampleBufferAudioRenderer;
class PlaybackCore;

/// Posted on the main queue after the rate has changed, the synchroniser being the object. Changes that
/// follow each other closely may be told as one.
inline constexpr const char* AVSampleBufferRenderSynchronizerRateDidChangeNotification =
    "AVSampleBufferRenderSynchronizerRateDidChangeNotification";

/// The clock of the renderers that were added to it: media time, which runs or is held.
///
/// `rate`, `setRate` and `currentTime` may be called by any thread, real-time ones included: they take one
/// short lock, allocate nothing and make no system call but the clock's; a `setRate` that changes the rate in
/// addition wakes the main queue and the playout. They take the time from `Clock::cycleTime()`, so a paced
/// cycle that runs late reads, and sets, what it would have at the time it was due.
///
/// Owned by whoever plays; made and destroyed on the main queue.
class AVSampleBufferRenderSynchronizer {
  public:
    /// Media time begins at 0, held. `realm` and `center` outlive it.
    AVSampleBufferRenderSynchronizer(dispatch::Realm& realm, foundation::NotificationCenter& center);
    ~AVSampleBufferRenderSynchronizer();
    AVSampleBufferRenderSynchronizer(const AVSampleBufferRenderSynchronizer&) = delete;
    AVSampleBufferRenderSynchronizer& operator=(const AVSampleBufferRenderSynchronizer&) = delete;

    /// 0 or 1, as last set.
    float rate() const noexcept;

    /// Lets media time run (any rate above 0: there is one speed) or holds it (anything else). In effect at
    /// once, for the sound from the time of the call on.
    void setRate(float rate) noexcept;

    /// Media time in units of kCMTimeAudioTimescale, towards the past. It does not fall from one reading of a
    /// thread to the next; only a cycle that runs late reads an earlier time than others did before it.
    coremedia::CMTime currentTime() const noexcept;

    /// Makes this the clock of a renderer, for good. Before anyone else uses the renderer; once for each.
    void addRenderer(AVSampleBufferAudioRenderer& renderer);

    /// Kept, and without effect: data always counts as sufficient. Waiting for it would move the sound by up
    /// to a buffer against the clock that buffers are timed by, and by a different amount at each start.
    bool delaysRateChangeUntilHasSufficientMediaData() const noexcept { return delaysRateChange_.load(); }
    void setDelaysRateChangeUntilHasSufficientMediaData(bool delays) noexcept {
        delaysRateChange_.store(delays);
    }

  private:
    const dispatch::Clock& clock_;
    const std::shared_ptr<PlaybackCore> core_;
    std::atomic<bool> delaysRateChange_{true}; // written and read by anybody
    dispatch::Signal rateChanged_;
};

} // namespace avfoundation
