// SPDX-License-Identifier: MIT
#include "ORBRouteService/audio/ORBTapIOContext.h"

#include "ORBRouteService/log/ORBDebugLog.h"
#include "ORBRouteService/log/flight/FlightRecorder.h"

#include <algorithm>
#include <utility>

namespace orb {

using Guard = dispatch::LockGuard<dispatch::Lock>;

void TapIOActivity::began() {
    const Guard guard(lock_);
    ++activeIOCount_;
    cancelPendingStop();
}

void TapIOActivity::ended(dispatch::Work stop) {
    const Guard guard(lock_);
    activeIOCount_ = std::max<std::int64_t>(activeIOCount_ - 1, 0);
    if (activeIOCount_ > 0)
        return;
    cancelPendingStop();
    pendingStopWorkItem_ = mainQueue_.asyncAfter(stopDelay, std::move(stop));
}

std::int64_t TapIOActivity::activeIOCount() const {
    const Guard guard(lock_);
    return activeIOCount_;
}

void TapIOActivity::cancelPendingStop() {
    if (pendingStopWorkItem_)
        std::exchange(pendingStopWorkItem_, nullptr)->cancel();
}

ORBTapIOContext::ORBTapIOContext(lmn::LMNTap& tap, const lmn::LMNTapConfig& config,
                                 std::shared_ptr<lmn::LMNDispatchQueue> queue, ORBTapIOContextParts parts)
    : LMNTapIOContext(tap, config, std::move(queue), nullptr), parts_(std::move(parts)) {}

void ORBTapIOContext::willStartIO() {
    ORBDebugLog(1, "{}: willStartIO", description());
    recordFlight(FlightKind::ioBegan);
    sampleTime_ = 0;
    parts_.activity->began();
    if (!parts_.session->isRunning())
        parts_.session->start();
}

void ORBTapIOContext::didStopIO() {
    ORBDebugLog(1, "{}: didStopIO", description());
    recordFlight(FlightKind::ioEnded);
    parts_.activity->ended([weak = weak_from_this()] {
        if (const auto self = weak.lock())
            self->stopSession();
    });
}

void ORBTapIOContext::stopSession() {
    if (parts_.activity->activeIOCount() != 0 || !parts_.session->isRunning())
        return;
    ORBDebugLog(0, "{}: stopping session after debounce", description());
    parts_.session->stop();
}

void ORBTapIOContext::processIO(lmn::LMNBuffer& buffer) {
    const std::uint32_t frames = buffer.frameCount();
    parts_.mixQueue->nextWriteSampleTime(frames, sampleTime_);
    parts_.mixQueue->write(buffer, sampleTime_);
    sampleTime_ += frames;
}

std::string ORBTapIOContext::description() const {
    return fmt::format("<ORBTapIOContext {}>", fmt::ptr(this));
}

} // namespace orb
