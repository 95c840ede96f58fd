// SPDX-License-Identifier: MIT
#include "platform/avfoundation/AVOutputDevice.h"

#include "platform/foundation/coding/TXTRecord.h"

#include <fmt/format.h>

#include <charconv>
#include <string_view>
#include <utility>

namespace avfoundation {
namespace {

constexpr int bufferedAudioBit = 40;

/// A hexadecimal number after "0x", and nothing else.
std::optional<std::uint64_t> hexadecimal(std::string_view text) {
    if (!text.starts_with("0x") && !text.starts_with("0X")) {
        return std::nullopt;
    }
    text.remove_prefix(2);
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, 16);
    if (error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return number;
}

std::uint64_t parseFeatures(std::string_view text) {
    const std::size_t comma = text.find(',');
    const auto low = hexadecimal(text.substr(0, comma));
    if (comma == text.npos) {
        return low.value_or(0);
    }
    const auto high = hexadecimal(text.substr(comma + 1));
    return low && high ? *high << 32 | (*low & 0xFFFFFFFFU) : 0;
}

} // namespace

template <typename Value>
void AVOutputDevice::set(std::optional<Value> Settings::*setting, Value value) {
    const dispatch::LockGuard guard(lock_);
    settings_.*setting = std::move(value);
}

template <typename Value>
std::optional<Value> AVOutputDevice::setting(std::optional<Value> Settings::*setting) const {
    const dispatch::LockGuard guard(lock_);
    return settings_.*setting;
}

std::optional<std::string> AVOutputDevice::txt(const char* key) const {
    const auto description = receiver_->description();
    const auto entry = description->txt.find(key);
    return entry != description->txt.end() ? std::optional(entry->second) : std::nullopt;
}

std::string AVOutputDevice::name() const {
    const auto own = setting(&Settings::name);
    return own ? *own : receiver_->description()->name;
}

void AVOutputDevice::setName(std::string name) { set(&Settings::name, std::move(name)); }

std::string AVOutputDevice::logicalDeviceID() const {
    if (auto own = setting(&Settings::logicalDeviceID)) {
        return *std::move(own);
    }
    const auto group = txt("gid");
    return group ? *group : ID();
}

void AVOutputDevice::setLogicalDeviceID(std::string identifier) {
    set(&Settings::logicalDeviceID, std::move(identifier));
}

std::string AVOutputDevice::identifyingMACAddress() const {
    if (auto own = setting(&Settings::identifyingMACAddress)) {
        return *std::move(own);
    }
    const auto address = txt("deviceid");
    return address ? *address : ID();
}

void AVOutputDevice::setIdentifyingMACAddress(std::string address) {
    set(&Settings::identifyingMACAddress, std::move(address));
}

AVOutputDevice::Properties AVOutputDevice::airPlayProperties() const {
    if (auto own = setting(&Settings::airPlayProperties)) {
        return *std::move(own);
    }
    const auto description = receiver_->description();
    if (description->txt.empty()) {
        return {};
    }
    return {{AirPlayTXTRecord, foundation::Data{foundation::dataFromTXTRecordDictionary(description->txt)}}};
}

void AVOutputDevice::setAirPlayProperties(Properties properties) {
    set(&Settings::airPlayProperties, std::move(properties));
}

std::string AVOutputDevice::modelID() const {
    const auto own = setting(&Settings::modelID);
    return own ? *own : txt("model").value_or("");
}

void AVOutputDevice::setModelID(std::string model) { set(&Settings::modelID, std::move(model)); }

std::string AVOutputDevice::ID() const {
    const auto own = setting(&Settings::ID);
    return own ? *own : receiver_->description()->identifier;
}

void AVOutputDevice::setID(std::string identifier) { set(&Settings::ID, std::move(identifier)); }

std::string AVOutputDevice::manufacturer() const {
    const auto own = setting(&Settings::manufacturer);
    return own ? *own : txt("manufacturer").value_or("");
}

void AVOutputDevice::setManufacturer(std::string manufacturer) {
    set(&Settings::manufacturer, std::move(manufacturer));
}

bool AVOutputDevice::supportsBufferedAirPlay() const {
    const auto own = setting(&Settings::supportsBufferedAirPlay);
    return own ? *own : (features() >> bufferedAudioBit & 1U) != 0;
}

void AVOutputDevice::setSupportsBufferedAirPlay(bool supports) {
    set(&Settings::supportsBufferedAirPlay, supports);
}

std::uint64_t AVOutputDevice::features() const { return parseFeatures(txt("features").value_or("")); }

std::string AVOutputDevice::description() const {
    return fmt::format("<AVOutputDevice: {} ({})>", name(), ID());
}

} // namespace avfoundation
