// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace foundation {

/// Longest component that `pathComponentOf` makes, in bytes: with the prefix of
/// `RuntimeDirectory::socketPath` it fits into the 107 bytes of a Unix socket's address.
inline constexpr std::size_t maximumPathComponent = 80;

/// Any name (bytes, usually UTF-8) as one component of a path, one to one. ASCII letters, digits and `_-.:`
/// stand for themselves, except a dot at the beginning; every other byte is `%` and two upper-case
/// hexadecimal digits; the empty name is `%`. What would be longer than `maximumPathComponent` is cut (not
/// inside of an escape) and ended by `%~` and 32 hexadecimal digits, the 16-byte BLAKE2b hash of the name.
std::string pathComponentOf(std::string_view name);

/// The name that a component stands for; nullopt when it was cut or is none that `pathComponentOf` makes.
std::optional<std::string> nameOfPathComponent(std::string_view component);

} // namespace foundation
