// SPDX-License-Identifier: MIT
#include "platform/avfoundation/AVOutputDevice.h"

#include "platform/foundation/coding/TXTRecord.h"

#include <charconv>
#include <optional>
#include <string_view>

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

std::uint64_t features(std::string_view text) {
    const std::size_t comma = text.find(',');
    const auto low = hexadecimal(text.substr(0, comma));
    if (comma == text.npos) {
        return low.value_or(0);
    }
    const auto high = hexadecimal(text.substr(comma + 1));
    return low && high ? *high << 32 | (*low & 0xFFFFFFFFU) : 0;
}

} // namespace

const std::string* AVOutputDevice::txt(const char* key) const noexcept {
    const auto& record = receiver_->description().txt;
    const auto entry = record.find(key);
    return entry != record.end() ? &entry->second : nullptr;
}

const std::string& AVOutputDevice::name() const noexcept { return receiver_->description().name; }

const std::string& AVOutputDevice::ID() const noexcept { return receiver_->description().identifier; }

const std::string& AVOutputDevice::logicalDeviceID() const noexcept {
    const std::string* group = txt("gid");
    return group != nullptr ? *group : ID();
}

const std::string& AVOutputDevice::identifyingMACAddress() const noexcept {
    const std::string* address = txt("deviceid");
    return address != nullptr ? *address : ID();
}

std::string AVOutputDevice::modelID() const {
    const std::string* model = txt("model");
    return model != nullptr ? *model : std::string();
}

std::string AVOutputDevice::manufacturer() const {
    const std::string* manufacturer = txt("manufacturer");
    return manufacturer != nullptr ? *manufacturer : std::string();
}

bool AVOutputDevice::supportsBufferedAirPlay() const noexcept {
    const std::string* text = txt("features");
    return text != nullptr && (features(*text) >> bufferedAudioBit & 1U) != 0;
}

std::map<std::string, foundation::Data> AVOutputDevice::airPlayProperties() const {
    const auto& properties = receiver_->description().txt;
    if (properties.empty()) {
        return {};
    }
    return {{AirPlayTXTRecord, foundation::Data{foundation::dataFromTXTRecordDictionary(properties)}}};
}

} // namespace avfoundation
