// SPDX-License-Identifier: MIT
#pragma once

#include "platform/foundation/UserDefaults.h"

#include <cstdint>
#include <memory>

namespace orb {

/// The preferences that the service shares with the parent application. One per process, owned by the
/// composition root. Any thread; a setter writes to the file only what differs from what is stored.
class ORBUserDefaults final : public foundation::UserDefaults {
  public:
    static constexpr const char* suite = "com.fernwick.Orbweaver.preferences";

    /// Seconds.
    static constexpr double defaultRenderLatency = 2.0;

    /// The only chunk size, frames.
    static constexpr std::int64_t fixedRenderChunkSize = 8192;

    /// The store of `suite` with its defaults registered; nullptr when the platform refuses it.
    static std::unique_ptr<ORBUserDefaults> create(const foundation::UserDefaultsContext& context);

    /// Seconds by which rendering runs behind capture; infinite where the file has a number too great.
    double renderLatency() const;
    void setRenderLatency(double seconds);

    /// Always `fixedRenderChunkSize`, whatever is stored.
    std::int64_t renderChunkSize() const { return fixedRenderChunkSize; }

    /// Ignores the value: puts `fixedRenderChunkSize` in the place of anything else that is stored.
    void setRenderChunkSize(std::int64_t frames);

    /// Whether the render time line is retimed in small steps all the time; off by default.
    bool prioritizeSync() const;
    void setPrioritizeSync(bool enabled);

    /// Whether plain AirPlay devices count as supporting grouped AirPlay; off by default.
    bool legacyGroupedAirPlay() const;
    void setLegacyGroupedAirPlay(bool enabled);

    /// Stores every registered default under its key.
    void reset();

  private:
    ORBUserDefaults(foundation::SuiteName name, const foundation::UserDefaultsContext& context);
};

} // namespace orb
