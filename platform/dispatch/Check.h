// SPDX-License-Identifier: MIT
#pragma once

#include <fmt/core.h>

#include <cstdio>
#include <cstdlib>

namespace dispatch {

/// Reports a broken invariant of our own and stops the process. Bad input from outside never comes here.
template <typename... Values>
[[noreturn]] void failCheck(const char* condition, const char* file, int line,
                            fmt::format_string<Values...> format, Values&&... values) {
    const std::string detail = fmt::format(format, std::forward<Values>(values)...);
    std::fprintf(stderr, "%s:%d: check failed: %s: %s\n", file, line, condition, detail.c_str());
    std::abort();
}

} // namespace dispatch

/// Kept on in release builds. The text and its values go to standard error before the process stops.
#define ORB_CHECK(condition, ...)                                               \
    do {                                                                        \
        if (!(condition)) [[unlikely]]                                          \
            ::dispatch::failCheck(#condition, __FILE__, __LINE__, __VA_ARGS__); \
    } while (false)
