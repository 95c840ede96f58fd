// SPDX-License-Identifier: MIT
#pragma once

#include <boost/json/value.hpp>

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <variant>

namespace foundation {

/// What a preference can be.
using PreferenceValue = std::variant<bool, std::int64_t, double, std::string>;
using PreferenceValues = std::map<std::string, PreferenceValue, std::less<>>;

/// nullopt for what is neither boolean nor number nor text, and for a number beyond the range of double. An
/// integer beyond std::int64_t becomes a real number.
std::optional<PreferenceValue> preferenceOf(const boost::json::value& value);
boost::json::value jsonOf(const PreferenceValue& value);

/// "a boolean", "an integer", ...: for reports.
const char* kindOf(const boost::json::value& value);

/// The conversions that `UserDefaults` documents; nullopt for what does not convert.
template <typename Wanted>
std::optional<Wanted> convertPreference(const PreferenceValue& value);
template <>
std::optional<double> convertPreference(const PreferenceValue& value);
template <>
std::optional<std::int64_t> convertPreference(const PreferenceValue& value);
template <>
std::optional<bool> convertPreference(const PreferenceValue& value);
template <>
std::optional<std::string> convertPreference(const PreferenceValue& value);

} // namespace foundation
