// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dispatch/Check.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>

/// Called by libFuzzer with one input after another, on one thread. Returns 0; a broken property, like any
/// other exception than those that a parser promises, ends the program, and libFuzzer keeps the input.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzz {

inline std::string_view textOf(const std::uint8_t* data, std::size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}

/// What `parse` returns; nullopt when it throws the error that it promises, which `judge` is shown.
template <typename Error, typename Parse, typename Judge>
auto parsed(Parse parse, Judge judge) -> std::optional<decltype(parse())> {
    try {
        return parse();
    } catch (const Error& error) {
        judge(error);
        return std::nullopt;
    }
}

template <typename Error, typename Parse>
auto parsed(Parse parse) {
    return parsed<Error>(parse, [](const Error& error) {
        ORB_CHECK(!std::string_view(error.what()).empty(), "an error says nothing");
    });
}

/// Line and column, from 1, are those of a character of the text or of its end.
inline void requirePlaceWithin(std::string_view text, std::size_t line, std::size_t column) {
    ORB_CHECK(line >= 1 && column >= 1, "{}:{}", line, column);
    for (std::size_t passed = 1; passed < line; ++passed) {
        const std::size_t end = text.find('\n');
        ORB_CHECK(end != text.npos, "line {} of a text of {} lines", line, passed);
        text.remove_prefix(end + 1);
    }
    const std::size_t width = std::min(text.find('\n'), text.size()) + 1;
    ORB_CHECK(column <= width + 1, "column {} of a line of {} bytes", column, width);
}

} // namespace fuzz
