// SPDX-License-Identifier: MIT
#pragma once

#include "ORBRouteService/audio/settings/ORBUserDefaults.h"

#include "platform/dispatch/Queue.h"
#include "platform/foundation/DistributedNotificationCenter.h"
#include "platform/foundation/NotificationCenter.h"
#include "platform/foundation/Subscription.h"

#include <atomic>
#include <cstdint>
#include <functional>

namespace orb {

/// A setting changed. In the process with the manager as object; between processes without one.
inline constexpr const char* ORBConfigurationDidChange = "Orbweaver.ORBConfigurationDidChange";

/// The parent changed a device's overrides. As above.
inline constexpr const char* ORBDeviceOverrideDidChange = "Orbweaver.ORBDeviceOverrideDidChange";

/// What the manager works with; all outlive it.
struct ORBManagerContext {
    dispatch::Queue& mainQueue;
    foundation::NotificationCenter& notifications;
    foundation::DistributedNotificationCenter& distributedNotifications;
    ORBUserDefaults& defaults;
};

/// The render settings of the process, mirrored from the preferences. A change here is written through and
/// told to the other processes; one made there comes back as a notification and ends in a reload. A reload
/// writes back and tells only what changed, so the exchange settles after one pass.
///
/// One per process, made by the composition root. Getters from any thread, real-time ones included;
/// everything else on the main queue.
class ORBManager {
  public:
    static constexpr double renderSampleRate = 44100.0;         // Hz
    static constexpr std::uint32_t fixedRenderChunkSize = 8192; // frames

    explicit ORBManager(const ORBManagerContext& context);
    ORBManager(const ORBManager&) = delete;
    ORBManager& operator=(const ORBManager&) = delete;

    /// The one of the process, see `foundation::SharedInstance`; nullptr when there is none. Any thread.
    static ORBManager* shared();

    /// Seconds by which rendering runs behind capture.
    double renderLatency() const { return renderLatency_.load(); }
    void setRenderLatency(double seconds);

    /// Always `fixedRenderChunkSize`.
    std::uint32_t renderChunkSize() const { return fixedRenderChunkSize; }

    /// Has no effect unless `frames` is `fixedRenderChunkSize`, which it is anyway.
    void setRenderChunkSize(std::uint32_t frames);

    bool prioritizeSync() const { return prioritizeSync_.load(); }
    void setPrioritizeSync(bool enabled);

    bool legacyGroupedAirPlay() const { return legacyGroupedAirPlay_.load(); }
    void setLegacyGroupedAirPlay(bool enabled);

    double effectiveRenderLatency() const { return renderLatency(); }

    /// What the parent application shows as the latency of the whole path, seconds.
    double reportedLatency() const { return reportedLatency(renderLatency(), renderChunkSize()); }
    static double reportedLatency(double latency, std::uint32_t chunkSize);

    /// Puts every setting back to its registered default, in the preferences too.
    void resetDefaults();

    /// For the parent application; the service itself never calls it.
    void broadcastDeviceOverrideChanged();

    /// `handler` is called on the main queue before values change by a reload.
    foundation::Subscription observeObjectWillChange(std::function<void()> handler);

  private:
    void settingsChangedElsewhere();
    void reloadFromDefaults();
    void postDistributedChange();

    template <typename Value>
    void writeThrough(std::atomic<Value>& field, Value value, void (ORBUserDefaults::*set)(Value));

    const ORBManagerContext context_;
    std::atomic<double> renderLatency_; // these three: written on the main queue, read by the render threads
    std::atomic<bool> prioritizeSync_;
    std::atomic<bool> legacyGroupedAirPlay_;
    foundation::Subscription notificationObserver_;
    foundation::Subscription distributedObserver_;
    foundation::Subscription overrideObserver_;
};

} // namespace orb
