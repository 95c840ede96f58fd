// SPDX-License-Identifier: MIT
#include "ORBRouteService/audio/ORBMirrorDevice.h"
#include "ORBRouteService/log/ORBDebugLog.h"

#include <cmath>
#include <utility>

/// The mirror device's feeding loop: from the pending sample buffers to the renderer. On `rendererQueue`.
namespace orb {
namespace {

/// Share of a chunk's duration for which an empty pass waits for data.
constexpr double waitShare = 0.01;

/// Share of a chunk's duration below which the buffer counts as low.
constexpr double lowBufferShare = 0.5;

/// Deviation, s, from which a fed chunk is worth a line, and the time between two such lines.
constexpr double deviationWorthALine = 0.01;
constexpr auto betweenFeedLines = std::chrono::seconds(5);

const char* directionOf(const RenderTimeline::Step& step) { return step.earlier ? "earlier" : "later"; }

} // namespace

/// What one installation of the loop remembers.
struct ORBMirrorDevice::FeedMemory {
    bool lowBufferLogged = false;
    dispatch::HostTime lastFeedLogTime = dispatch::distantPast;
};

void ORBMirrorDevice::installFeedingLoop() {
    if (!isRequestingMediaData_.load()) // a reset came between; the next chunk asks again
        return;
    renderer_->requestMediaDataWhenReady(
        *rendererQueue_, [weak = weak_from_this(), queue = rendererQueue_,
                          memory = std::make_shared<FeedMemory>()] { return feed(weak, queue, memory); });
}

// Interleaves: with the cycle and with resets at its one wait; after it everything is read anew.
dispatch::Task<> ORBMirrorDevice::feed(std::weak_ptr<ORBMirrorDevice> weak,
                                       [[maybe_unused]] std::shared_ptr<dispatch::Queue> keptUntilTheEnd,
                                       std::shared_ptr<FeedMemory> memory) {
    for (;;) {
        dispatch::Task<bool> arrival;
        {
            const auto device = weak.lock();
            if (!device || !device->renderer_->isReadyForMoreMediaData())
                break;
            if (device->feedOne(*memory))
                continue;
            const double patience = waitShare * device->config_.chunkSize / device->config_.renderSampleRate;
            arrival = device->hasDataSemaphore_.wait(dispatch::toNanoseconds(patience));
        }
        const bool arrived = co_await std::move(arrival);
        static_cast<void>(arrived); // the next pass looks for itself
    }
}

bool ORBMirrorDevice::feedOne(FeedMemory& memory) {
    PendingSampleBuffers::Buffer buffer;
    RenderTimeline::Position position;
    {
        const PendingGuard guard(pendingSampleBuffersLock_);
        const coremedia::CMTime now = syncronizer_->currentTime();
        watchLowBuffer(memory, now);
        if (pendingSampleBuffers_.isEmpty())
            return false;
        position = timeline_.positionOf(
            CMSampleBufferGetPresentationTimeStamp(*pendingSampleBuffers_.oldest()), now);
        correctTimeline(position);
        buffer = pendingSampleBuffers_.takeOldest();
    }
    logFeed(memory, CMSampleBufferGetPresentationTimeStamp(*buffer), position);
    renderer_->enqueueSampleBuffer(std::move(buffer));
    return true;
}

void ORBMirrorDevice::watchLowBuffer(FeedMemory& memory, const coremedia::CMTime& now) {
    const double low = lowBufferShare * timeline_.chunkDuration();
    const double buffered = timeline_.buffered(now);
    if (buffered >= low)
        memory.lowBufferLogged = false;
    else if (!std::exchange(memory.lowBufferLogged, true))
        ORBDebugLog(0, "{} low buffer: buffered={}s (<{}s), pending={}, rate={}", description_,
                    LogNumber{buffered}, LogNumber{low}, pendingSampleBuffers_.count(),
                    LogNumber{syncronizer_->rate()});
}

void ORBMirrorDevice::correctTimeline(const RenderTimeline::Position& position) {
    const RenderTimeline::Step step = timeline_.correct(position, context_.manager.prioritizeSync());
    if (step.kind == RenderTimeline::Correction::none)
        return;
    const LogNumber buffered{timeline_.buffered(syncronizer_->currentTime())};
    if (step.kind == RenderTimeline::Correction::startup)
        ORBDebugLog(1, "{} startup sync correction: delta={}s, correction={}s ({}), newBuffered={}",
                    description_, LogNumber{position.delta}, LogNumber{step.seconds}, directionOf(step),
                    buffered);
    else
        ORBDebugLog(0, "{} micro-retime: delta={}s, step={}s ({}), newBuffered={}", description_,
                    LogNumber{position.delta}, LogNumber{step.seconds}, directionOf(step), buffered);
}

void ORBMirrorDevice::logFeed(FeedMemory& memory, const coremedia::CMTime& presentationTime,
                              const RenderTimeline::Position& position) const {
    const dispatch::HostTime now = context_.lmn.realm().clock().now();
    if (std::fabs(position.delta) <= deviationWorthALine || now - memory.lastFeedLogTime <= betweenFeedLines)
        return;
    memory.lastFeedLogTime = now;
    const LogNumber target{syncLatency_};
    ORBDebugLog(
        0,
        "{} feed chunk: pts={}, now={}, ahead={}s, effectiveLatency={}s, target={}s(base={}s) rate={} "
        "reported={}",
        description_, LogNumber{CMTimeGetSeconds(presentationTime)},
        LogNumber{CMTimeGetSeconds(syncronizer_->currentTime())}, LogNumber{position.ahead},
        LogNumber{position.effectiveLatency}, target, target, LogNumber{syncronizer_->rate()},
        LogNumber{reportedLatency()});
}

} // namespace orb
