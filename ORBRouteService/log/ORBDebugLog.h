// SPDX-License-Identifier: MIT
#pragma once

#include "platform/lmn/LMNLog.h"

#include <fmt/format.h>

#include <cmath>
#include <string_view>

namespace orb {

using lmn::LMNLogLevel;

/// Writes one line to the framework's log: "[Orbweaver] ", `message` unchanged, a line feed.
/// Every call is one line, whatever its level (0 routine, 1 milestone, 4 failure). Any thread; keeps no
/// state; never fails, never waits, and allocates only for messages above some 400 bytes.
void ORBDebugLog(LMNLogLevel level, std::string_view message) noexcept;

/// Formats the message in place, without allocating for messages of usual length.
template <typename... Values>
void ORBDebugLog(LMNLogLevel level, fmt::format_string<Values...> format, Values&&... values) noexcept
    requires(sizeof...(Values) > 0)
{
    fmt::memory_buffer message;
    fmt::format_to(fmt::appender(message), format, std::forward<Values>(values)...);
    ORBDebugLog(level, std::string_view(message.data(), message.size()));
}

/// A number as log lines show it: the shortest decimal that reads back to the same value, whole values with
/// ".0".
struct LogNumber {
    double value;
};

} // namespace orb

template <>
struct fmt::formatter<orb::LogNumber> {
    constexpr auto parse(format_parse_context& context) { return context.begin(); }

    template <typename Context>
    auto format(const orb::LogNumber& number, Context& context) const {
        char digits[32];
        const auto end = fmt::format_to_n(digits, sizeof digits, "{}", number.value).out;
        const std::string_view text(digits, static_cast<std::size_t>(end - digits));
        const bool whole = text.find_first_not_of("-0123456789") == std::string_view::npos;
        return fmt::format_to(context.out(), "{}{}", text, whole ? ".0" : "");
    }
};
