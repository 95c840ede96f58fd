// SPDX-License-Identifier: MIT
#include "ORBRouteService/audio/ORBMirrorDevice.h"
#include "ORBRouteService/audio/SampleBuffers.h"
#include "ORBRouteService/log/ORBDebugLog.h"
#include "ORBRouteService/log/flight/FlightRecorder.h"

/// The mirror device's IO cycle: from the mix queue to a pending sample buffer. On `runnerQueue`, real-time.
namespace orb {

void ORBMirrorDevice::performIOCycle(lmn::LMNSessionRunner&, std::int64_t) {
    mixBuffer_.mute();
    mixQueue_->read(mixBuffer_);
    mixBuffer_.applyGain(static_cast<float>(renderVolume_));

    const bool silent = mixBuffer_.isSilence();
    bool resumed = silence_.note(silent, mixBuffer_.frameCount() / mixBuffer_.sampleRate());
    resumed |= stopWhenSilent();
    resumed |= resynchroniseWhenNeeded(silent);
    if (warmUp() && syncronizer_->rate() > 0)
        accumulate();
    if (resumed)
        reviewDevices(silent);
}

double ORBMirrorDevice::reportedLatency() const { return context_.manager.reportedLatency(); }

bool ORBMirrorDevice::pausedWithin(double seconds) const {
    const dispatch::HostTime now = context_.lmn.realm().clock().now();
    return dispatch::toSeconds(context_.lastPause() - now) > -seconds;
}

bool ORBMirrorDevice::stopWhenSilent() {
    const double reported = reportedLatency();
    const SilenceWatch::Stop stop = silence_.stopDue(pausedWithin(reported), reported);
    if (stop == SilenceWatch::Stop::none || syncronizer_->rate() <= 0)
        return false;
    syncronizer_->setRate(0);
    {
        const PendingGuard guard(pendingSampleBuffersLock_);
        timeline_.endStartup();
    }
    fmt::memory_buffer reason;
    fmt::format_to(fmt::appender(reason), "silent stop: silentAndStopped={}, silentSeconds={}",
                   stop == SilenceWatch::Stop::afterPause, LogNumber{silence_.silentSeconds()});
    resetRendererState(Flush::yes, {reason.data(), reason.size()});
    return true;
}

bool ORBMirrorDevice::resynchroniseWhenNeeded(bool silent) {
    const bool asked = needsResync_.exchange(false);
    const float rate = syncronizer_->rate();
    if (!asked && (rate != 0 || silent))
        return false;
    syncronizer_->setRate(0);
    fmt::memory_buffer reason;
    fmt::format_to(fmt::appender(reason), "resync: needsResync={}, rate={}", asked, LogNumber{rate});
    resetRendererState(Flush::yes, {reason.data(), reason.size()});
    const PendingGuard guard(pendingSampleBuffersLock_);
    timeline_.beginStartup();
    timeline_.requestTimebaseReset();
    syncronizer_->setRate(1);
    recordClock("resync", 0);
    return true;
}

void ORBMirrorDevice::recordClock(std::string_view occasion, double startLatency) const {
    recordFlight(FlightKind::clock, {.subject = occasion,
                                     .numbers = {CMTimeGetSeconds(syncronizer_->currentTime()),
                                                 syncronizer_->rate(), startLatency}});
}

bool ORBMirrorDevice::warmUp() {
    std::int64_t counted = connectedBuffers_.load();
    const bool connected = connectedCount_.load() > 0;
    if (counted < warmupCycles || !connected) {
        if (!startupWarmupActive_) {
            startupWarmupActive_ = true;
            resetRendererState(Flush::yes, "startup warmup begin");
            const PendingGuard guard(pendingSampleBuffersLock_);
            timeline_.requestTimebaseReset();
        }
        mixBuffer_.mute();
        // A change of the devices that comes between begins the count anew; it is not overwritten.
        connectedBuffers_.compare_exchange_strong(counted, connected ? counted + 1 : 0);
        return false;
    }
    if (startupWarmupActive_) {
        startupWarmupActive_ = false;
        const PendingGuard guard(pendingSampleBuffersLock_);
        timeline_.anchorAt(syncronizer_->currentTime());
        recordClock("warm-up ended", 0);
    }
    return true;
}

void ORBMirrorDevice::accumulate() {
    {
        const PendingGuard guard(pendingSampleBuffersLock_);
        // A reset by another thread may have come between: what it discarded is not begun anew.
        if (syncronizer_->rate() <= 0 || !accumulator_.add(mixBuffer_, renderBuffer_))
            return;
        enqueueChunk();
    }
    wakeFeedingLoop();
}

void ORBMirrorDevice::enqueueChunk() {
    const RenderTimeline::ChunkTime time = timeline_.timeChunk(renderBuffer_.frameCount());
    if (time.start) {
        recordClock("first chunk", time.start->latency);
        ORBDebugLog(0, "{} first chunk after resync: anchor={}, startLatency={}, pts={}, duration={}",
                    description_, LogNumber{CMTimeGetSeconds(time.start->anchor)},
                    LogNumber{time.start->latency}, LogNumber{CMTimeGetSeconds(time.presentationTime)},
                    LogNumber{time.duration});
    }
    auto buffer =
        makeSampleBuffer(renderBuffer_, audioFormatDescription_, time.presentationTime, context_.allocator);
    if (buffer && !pendingSampleBuffers_.append(std::move(buffer)))
        ORBDebugLog(4, "{} the renderer takes no chunks, the oldest of {} is dropped", description_,
                    PendingSampleBuffers::capacity);
}

void ORBMirrorDevice::wakeFeedingLoop() {
    hasDataSemaphore_.signal();
    if (!isRequestingMediaData_.exchange(true))
        install_->raise();
}

void ORBMirrorDevice::reviewDevices(bool silent) {
    if (hasConnectedBefore_.load() && !silent && !pausedWithin(reportedLatency())) {
        const PendingGuard guard(pendingSampleBuffersLock_);
        if (connectedVirtualDevices_ != targetDevices_)
            needsReconnect_.store(true);
    }
    review_.raise();
}

} // namespace orb
