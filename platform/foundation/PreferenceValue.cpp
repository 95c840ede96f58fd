// SPDX-License-Identifier: MIT
#include "platform/foundation/PreferenceValue.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <string_view>
#include <type_traits>

namespace foundation {
namespace {

/// The whole of a text as a number.
template <typename Number>
std::optional<Number> parse(std::string_view text) {
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc{} || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return number;
}

std::optional<double> parseFinite(std::string_view text) {
    const auto number = parse<double>(text);
    return number && std::isfinite(*number) ? number : std::nullopt;
}

std::optional<std::int64_t> truncate(double number) {
    constexpr double bound = 9223372036854775808.0; // 2 to the 63rd
    if (!(number >= -bound && number < bound)) {
        return std::nullopt;
    }
    return static_cast<std::int64_t>(number);
}

bool equalsIgnoringCase(std::string_view text, std::string_view lower) {
    const auto toLower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
    return std::ranges::equal(text, lower, {}, toLower);
}

std::optional<bool> parseBoolean(std::string_view text) {
    if (equalsIgnoringCase(text, "true") || equalsIgnoringCase(text, "yes")) {
        return true;
    }
    if (equalsIgnoringCase(text, "false") || equalsIgnoringCase(text, "no")) {
        return false;
    }
    const auto number = parseFinite(text);
    return number ? std::optional(*number != 0) : std::nullopt;
}

} // namespace

std::optional<PreferenceValue> preferenceOf(const boost::json::value& value) {
    switch (value.kind()) {
        case boost::json::kind::bool_:
            return value.get_bool();
        case boost::json::kind::int64:
            return value.get_int64();
        case boost::json::kind::uint64:
            return static_cast<double>(value.get_uint64());
        case boost::json::kind::double_:
            return std::isfinite(value.get_double()) ? std::optional(value.get_double()) : std::nullopt;
        case boost::json::kind::string:
            return std::string(value.get_string());
        default:
            return std::nullopt;
    }
}

boost::json::value jsonOf(const PreferenceValue& value) {
    return std::visit([](const auto& held) { return boost::json::value(held); }, value);
}

const char* kindOf(const boost::json::value& value) {
    switch (value.kind()) {
        case boost::json::kind::null:
            return "null";
        case boost::json::kind::bool_:
            return "a boolean";
        case boost::json::kind::int64:
        case boost::json::kind::uint64:
            return "an integer";
        case boost::json::kind::double_:
            return std::isfinite(value.get_double()) ? "a real number" : "a number beyond all bounds";
        case boost::json::kind::string:
            return "a text";
        case boost::json::kind::array:
            return "an array";
        case boost::json::kind::object:
            return "an object";
    }
    return "nothing";
}

template <>
std::optional<double> convertPreference(const PreferenceValue& value) {
    if (const auto* text = std::get_if<std::string>(&value)) {
        return parseFinite(*text);
    }
    return std::visit(
        [](const auto& held) -> std::optional<double> {
            if constexpr (std::is_arithmetic_v<std::remove_cvref_t<decltype(held)>>) {
                return static_cast<double>(held);
            } else {
                return std::nullopt;
            }
        },
        value);
}

template <>
std::optional<std::int64_t> convertPreference(const PreferenceValue& value) {
    if (const auto* integer = std::get_if<std::int64_t>(&value)) {
        return *integer;
    }
    if (const auto* text = std::get_if<std::string>(&value)) {
        if (const auto integer = parse<std::int64_t>(*text)) {
            return integer;
        }
    }
    const auto number = convertPreference<double>(value);
    return number ? truncate(*number) : std::nullopt;
}

template <>
std::optional<bool> convertPreference(const PreferenceValue& value) {
    if (const auto* text = std::get_if<std::string>(&value)) {
        return parseBoolean(*text);
    }
    const auto number = convertPreference<double>(value);
    return number ? std::optional(*number != 0) : std::nullopt;
}

template <>
std::optional<std::string> convertPreference(const PreferenceValue& value) {
    if (const auto* text = std::get_if<std::string>(&value)) {
        return *text;
    }
    if (const auto* boolean = std::get_if<bool>(&value)) {
        return *boolean ? "1" : "0";
    }
    if (const auto* integer = std::get_if<std::int64_t>(&value)) {
        return fmt::format("{}", *integer);
    }
    return fmt::format("{}", std::get<double>(value));
}

} // namespace foundation
