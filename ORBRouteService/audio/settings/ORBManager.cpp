// SPDX-License-Identifier: MIT
#include "ORBRouteService/audio/settings/ORBManager.h"

#include "ORBRouteService/log/ORBDebugLog.h"
#include "ORBRouteService/log/flight/FlightRecorder.h"

#include "platform/foundation/SharedInstance.h"
#include "platform/lmn/LMNTapConfig.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace orb {
namespace {
constexpr const char* objectWillChange = "ORBManager.objectWillChange";

/// What a manager begins with; that the stored latency is none is logged by the reload that follows.
double initialRenderLatency(const ORBUserDefaults& defaults) {
    const double stored = defaults.renderLatency();
    return std::isfinite(stored) ? stored : ORBUserDefaults::defaultRenderLatency;
}

} // namespace

ORBManager::ORBManager(const ORBManagerContext& context)
    : context_(context),
      renderLatency_(initialRenderLatency(context.defaults)),
      prioritizeSync_(context.defaults.prioritizeSync()),
      legacyGroupedAirPlay_(context.defaults.legacyGroupedAirPlay()) {
    dispatch::Queue& main = context_.mainQueue;
    const foundation::UserDefaults* store = &context_.defaults;
    notificationObserver_ = context_.notifications.observe(
        foundation::userDefaultsDidChangeNotification, store, &main,
        [this](const foundation::Notification&) { settingsChangedElsewhere(); });
    distributedObserver_ = context_.distributedNotifications.observe(
        ORBConfigurationDidChange, std::nullopt, main,
        [this](const foundation::DistributedNotification&) { settingsChangedElsewhere(); });
    overrideObserver_ = context_.distributedNotifications.observe(
        ORBDeviceOverrideDidChange, std::nullopt, main, [this](const foundation::DistributedNotification&) {
            context_.notifications.post(ORBDeviceOverrideDidChange, this);
        });
    reloadFromDefaults();
}

ORBManager* ORBManager::shared() { return foundation::SharedInstance<ORBManager>::get(); }

void ORBManager::setRenderLatency(double seconds) {
    if (!std::isfinite(seconds)) {
        ORBDebugLog(4, "ORBManager: a render latency of {} s is no latency; {} s is kept", LogNumber{seconds},
                    LogNumber{renderLatency()});
        return;
    }
    writeThrough(renderLatency_, seconds, &ORBUserDefaults::setRenderLatency);
}

void ORBManager::setRenderChunkSize(std::uint32_t) {
    // Whatever was asked for, the field stays what it always is, so there is no change to write or to tell.
}

void ORBManager::setPrioritizeSync(bool enabled) {
    writeThrough(prioritizeSync_, enabled, &ORBUserDefaults::setPrioritizeSync);
}

void ORBManager::setLegacyGroupedAirPlay(bool enabled) {
    writeThrough(legacyGroupedAirPlay_, enabled, &ORBUserDefaults::setLegacyGroupedAirPlay);
}

template <typename Value>
void ORBManager::writeThrough(std::atomic<Value>& field, Value value, void (ORBUserDefaults::*set)(Value)) {
    if (field.exchange(value) == value)
        return;
    (context_.defaults.*set)(value);
    postDistributedChange();
}

double ORBManager::reportedLatency(double latency, std::uint32_t chunkSize) {
    // What the path adds to the render latency, as measured on receivers: most of a chunk, one more buffer of
    // 1024 frames, less what receivers make up for.
    constexpr double shareOfChunk = 0.915;
    constexpr double furtherBuffer = 0.023219954648526078; // 1024 / 44100 s
    constexpr double madeUpFor = -0.085;
    const double largestCycle = lmn::LMNTapConfig::maximumFrameCount;
    const double chunk = chunkSize;
    const double firstCycle = std::min(chunk, largestCycle) / renderSampleRate;
    const double remainder = std::max(chunk - largestCycle, 0.0) / renderSampleRate;
    return ((firstCycle + remainder) * shareOfChunk + latency) + furtherBuffer + madeUpFor;
}

void ORBManager::resetDefaults() {
    context_.defaults.reset();
    postDistributedChange();
    reloadFromDefaults();
}

void ORBManager::broadcastDeviceOverrideChanged() { postDistributedChange(); }

foundation::Subscription ORBManager::observeObjectWillChange(std::function<void()> handler) {
    return context_.notifications.observe(
        objectWillChange, this, nullptr,
        [handler = std::move(handler)](const foundation::Notification&) { handler(); });
}

void ORBManager::settingsChangedElsewhere() {
    context_.notifications.post(objectWillChange, this);
    reloadFromDefaults();
}

void ORBManager::reloadFromDefaults() {
    setRenderLatency(context_.defaults.renderLatency());
    context_.defaults.setRenderChunkSize(fixedRenderChunkSize); // repairs what somebody else may have stored
    setPrioritizeSync(context_.defaults.prioritizeSync());
    setLegacyGroupedAirPlay(context_.defaults.legacyGroupedAirPlay());
    recordFlight(FlightKind::settings, {.numbers = {renderLatency(), prioritizeSync() ? 1.0 : 0.0,
                                                    legacyGroupedAirPlay() ? 1.0 : 0.0}});
    context_.notifications.post(ORBConfigurationDidChange, this);
}

void ORBManager::postDistributedChange() {
    context_.distributedNotifications.post(ORBConfigurationDidChange);
}

} // namespace orb
