// SPDX-License-Identifier: MIT
#include "ORBRouteService/audio/settings/ORBUserDefaults.h"

namespace orb {
namespace {

constexpr const char* renderLatencyKey = "_renderLatency";
constexpr const char* renderChunkSizeKey = "_renderChunkSize";
constexpr const char* prioritizeSyncKey = "prioritizeSync";
constexpr const char* legacyGroupedAirPlayKey = "legacyGroupedAirPlay";

const foundation::PreferenceValues& registeredDefaults() {
    static const foundation::PreferenceValues defaults{
        {renderLatencyKey, ORBUserDefaults::defaultRenderLatency},
        {renderChunkSizeKey, ORBUserDefaults::fixedRenderChunkSize},
        {prioritizeSyncKey, false},
        {legacyGroupedAirPlayKey, false}};
    return defaults;
}

} // namespace

std::unique_ptr<ORBUserDefaults> ORBUserDefaults::create(const foundation::UserDefaultsContext& context) {
    const auto name = foundation::SuiteName::parse(suite);
    if (!name)
        return nullptr;
    std::unique_ptr<ORBUserDefaults> defaults(new ORBUserDefaults(*name, context));
    defaults->registerDefaults(registeredDefaults());
    return defaults;
}

ORBUserDefaults::ORBUserDefaults(foundation::SuiteName name, const foundation::UserDefaultsContext& context)
    : UserDefaults(std::move(name), context) {}

double ORBUserDefaults::renderLatency() const { return doubleForKey(renderLatencyKey); }

void ORBUserDefaults::setRenderLatency(double seconds) {
    if (renderLatency() != seconds)
        setDouble(renderLatencyKey, seconds);
}

void ORBUserDefaults::setRenderChunkSize(std::int64_t) {
    if (integerForKey(renderChunkSizeKey) != fixedRenderChunkSize)
        setInteger(renderChunkSizeKey, fixedRenderChunkSize);
}

bool ORBUserDefaults::prioritizeSync() const { return boolForKey(prioritizeSyncKey); }

void ORBUserDefaults::setPrioritizeSync(bool enabled) {
    if (prioritizeSync() != enabled)
        setBool(prioritizeSyncKey, enabled);
}

bool ORBUserDefaults::legacyGroupedAirPlay() const { return boolForKey(legacyGroupedAirPlayKey); }

void ORBUserDefaults::setLegacyGroupedAirPlay(bool enabled) {
    if (legacyGroupedAirPlay() != enabled)
        setBool(legacyGroupedAirPlayKey, enabled);
}

void ORBUserDefaults::reset() {
    for (const auto& [key, value] : registeredDefaults())
        setObject(key, value);
}

} // namespace orb
