// SPDX-License-Identifier: MIT
#include "ORBRouteService/devices/ORBDeviceUID.h"

#include "ORBRouteService/devices/isUTF8.h"

#include <unicase.h>
#include <unigbrk.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>

namespace orb {
namespace {

const std::uint8_t* unsignedBytes(std::string_view text) {
    return reinterpret_cast<const std::uint8_t*>(text.data());
}

/// 1 for each byte with which a character begins, else 0.
std::string beginningsOfCharacters(std::string_view text) {
    std::string begins(text.size(), 1);
    if (isUTF8(text))
        u8_grapheme_breaks(unsignedBytes(text), text.size(), begins.data());
    return begins;
}

std::string cutIntoPairs(std::string_view text) {
    const std::string begins = beginningsOfCharacters(text);
    std::string pairs;
    pairs.reserve(text.size() * 3 / 2);
    std::size_t characters = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (begins[i] != 0 && characters++ % 2 == 0 && i > 0)
            pairs += ':';
        pairs += text[i];
    }
    return pairs;
}

std::string upperCaseASCII(std::string text) {
    std::ranges::transform(text, text.begin(), [](char c) {
        return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    });
    return text;
}

std::string upperCase(const std::string& text) {
    if (text.empty() || !isUTF8(text))
        return upperCaseASCII(text);
    std::size_t size = 0;
    const std::unique_ptr<std::uint8_t, decltype(&std::free)> upper(
        u8_toupper(unsignedBytes(text), text.size(), nullptr, nullptr, nullptr, &size), &std::free);
    if (!upper)
        throw std::bad_alloc(); // the only failure that is left for valid text
    return {reinterpret_cast<const char*>(upper.get()), size};
}

std::optional<std::string> valueOf(const TxtRecord& txtRecord, const char* key) {
    const auto entry = txtRecord.find(key);
    return entry != txtRecord.end() ? std::optional(entry->second) : std::nullopt;
}

std::optional<std::string> groupIdentifier(const TxtRecord& txtRecord) {
    if (!txtRecord.contains("gid"))
        return std::nullopt;
    const std::optional<std::string> group = valueOf(txtRecord, "tsid");
    return group ? group : valueOf(txtRecord, "psgid");
}

} // namespace

std::string ORBDeviceUID(const TxtRecord& txtRecord, const std::optional<std::string>& macAddress) {
    std::optional<std::string> identifier = groupIdentifier(txtRecord);
    if (!identifier) {
        identifier = macAddress;
        if (const auto deviceID = valueOf(txtRecord, "deviceid"))
            identifier = ORBCompatibleMacAddressString(*deviceID);
    }
    return std::string(ORBDeviceUIDPrefix) + identifier.value_or("");
}

std::string ORBCompatibleMacAddressString(std::string_view text) {
    return upperCase(text.find(':') != std::string_view::npos ? std::string(text) : cutIntoPairs(text));
}

} // namespace orb
