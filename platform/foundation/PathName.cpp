// SPDX-License-Identifier: MIT
#include "platform/foundation/PathName.h"

#include <fmt/format.h>
#include <sodium/crypto_generichash.h>

#include <array>

namespace foundation {
namespace {

constexpr std::size_t hashSize = 16;
constexpr std::string_view cutMark = "%~";
constexpr std::size_t cutLength = maximumPathComponent - cutMark.size() - 2 * hashSize;

bool standsForItself(char c, std::size_t index) {
    const bool alphanumeric = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
    return alphanumeric || c == '_' || c == '-' || c == ':' || (c == '.' && index > 0);
}

std::string hashOf(std::string_view name) {
    std::array<unsigned char, hashSize> hash{};
    crypto_generichash(hash.data(), hash.size(), reinterpret_cast<const unsigned char*>(name.data()),
                       name.size(), nullptr, 0);
    std::string text;
    for (const unsigned char byte : hash) {
        text += fmt::format("{:02X}", byte);
    }
    return text;
}

std::optional<unsigned> hexadecimalDigit(char c) {
    if (c >= '0' && c <= '9') {
        return static_cast<unsigned>(c - '0');
    }
    if (c >= 'A' && c <= 'F') {
        return static_cast<unsigned>(c - 'A' + 10);
    }
    return std::nullopt;
}

/// The bytes that well-formed escapes stand for.
std::optional<std::string> unescape(std::string_view component) {
    std::string name;
    for (std::size_t index = 0; index < component.size(); ++index) {
        if (component[index] != '%') {
            name += component[index];
            continue;
        }
        const auto high =
            index + 1 < component.size() ? hexadecimalDigit(component[index + 1]) : std::nullopt;
        const auto low = index + 2 < component.size() ? hexadecimalDigit(component[index + 2]) : std::nullopt;
        if (!high || !low) {
            return std::nullopt;
        }
        name += static_cast<char>(*high * 16 + *low);
        index += 2;
    }
    return name;
}

} // namespace

std::string pathComponentOf(std::string_view name) {
    if (name.empty()) {
        return "%";
    }
    std::string component;
    std::size_t cutAt = 0;
    for (std::size_t index = 0; index < name.size() && component.size() <= maximumPathComponent; ++index) {
        if (standsForItself(name[index], index)) {
            component += name[index];
        } else {
            component += fmt::format("%{:02X}", static_cast<unsigned char>(name[index]));
        }
        if (component.size() <= cutLength) {
            cutAt = component.size();
        }
    }
    if (component.size() <= maximumPathComponent) {
        return component;
    }
    return component.substr(0, cutAt).append(cutMark).append(hashOf(name));
}

std::optional<std::string> nameOfPathComponent(std::string_view component) {
    if (component == "%") {
        return std::string();
    }
    auto name = unescape(component);
    if (!name || name->empty() || pathComponentOf(*name) != component) {
        return std::nullopt;
    }
    return name;
}

} // namespace foundation
