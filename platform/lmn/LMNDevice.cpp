// SPDX-License-Identifier: MIT
#include "platform/lmn/LMNDevice.h"

#include "platform/lmn/LMNLog.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace lmn {
namespace {

namespace json = boost::json;

constexpr std::string_view volumeKey = "volume";
constexpr std::string_view mutedKey = "muted";
constexpr std::string_view overridesKey = "overrides";

void logFailure(const LMNDevice& device, const std::exception& error) {
    LMNLog(4, fmt::format("{}: {}\n", device.description(), error.what()));
}

} // namespace

LMNDevice::LMNDevice(LMNVirtualDeviceConfig config, foundation::RuntimeDirectory directory,
                     dispatch::Queue& mainQueue)
    : config_(std::move(config)),
      directory_(std::move(directory)),
      stateFile_(directory_.path() / "state.json") {
    // Watched before it is read, so that no change falls in between.
    watcher_ =
        std::make_unique<foundation::FileWatcher>(mainQueue, stateFile_.path(), [this] { readState(); });
    readState();
}

LMNDevice::~LMNDevice() = default;

void LMNDevice::setVolume(double volume) {
    if (!std::isfinite(volume))
        return;
    const double clamped = std::clamp(volume, 0.0, 1.0);
    if (volume_.set(clamped))
        changeState([clamped](json::object& state) { state[volumeKey] = clamped; });
}

void LMNDevice::setMuted(bool muted) {
    if (isMuted_.set(muted))
        changeState([muted](json::object& state) { state[mutedKey] = muted; });
}

std::optional<json::value> LMNDevice::overrideForKey(std::string_view key) const {
    const dispatch::LockGuard guard(overridesLock_);
    const json::value* value = overrides_.if_contains(key);
    return value != nullptr ? std::optional(*value) : std::nullopt;
}

void LMNDevice::setOverride(std::optional<json::value> value, std::string_view key) {
    const auto put = [&](json::object& overrides) {
        if (value)
            overrides[key] = *value;
        else
            overrides.erase(key);
    };
    {
        const dispatch::LockGuard guard(overridesLock_);
        put(overrides_);
    }
    changeState([&](json::object& state) {
        json::value& overrides = state[overridesKey];
        if (!overrides.is_object())
            overrides.emplace_object();
        put(overrides.get_object());
    });
}

void LMNDevice::changeState(dispatch::FunctionRef<void(json::object&)> change) {
    try {
        stateFile_.update([&](std::optional<json::value> stored) -> std::optional<json::value> {
            json::object state = stored && stored->is_object() ? stored->get_object() : json::object{};
            state["version"] = 1;
            change(state);
            return state;
        });
    } catch (const foundation::JsonFileError& error) {
        logFailure(*this, error);
    }
}

void LMNDevice::readState() {
    try {
        const std::optional<json::value> state = stateFile_.read();
        if (state && state->is_object())
            adoptState(state->get_object());
    } catch (const foundation::JsonFileError& error) {
        logFailure(*this, error);
    }
}

void LMNDevice::adoptState(const json::object& state) {
    if (const json::value* volume = state.if_contains(volumeKey); volume != nullptr && volume->is_number())
        volume_.set(std::clamp(volume->to_number<double>(), 0.0, 1.0));
    if (const json::value* muted = state.if_contains(mutedKey); muted != nullptr && muted->is_bool())
        isMuted_.set(muted->get_bool());
    const dispatch::LockGuard guard(overridesLock_);
    const json::value* overrides = state.if_contains(overridesKey);
    overrides_ = overrides != nullptr && overrides->is_object() ? overrides->get_object() : json::object{};
}

std::string LMNDevice::description() const { return fmt::format("<LMNDevice {}>", deviceUID()); }

} // namespace lmn
