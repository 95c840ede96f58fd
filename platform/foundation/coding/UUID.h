// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace foundation {

/// A universally unique identifier of 128 bits (RFC 4122). A value; any thread.
class UUID {
  public:
    using Bytes = std::array<std::uint8_t, 16>;

    explicit UUID(const Bytes& bytes) : bytes_(bytes) {}

    /// A fresh one, of version 4, from the system's source of randomness.
    static UUID random();

    /// Takes the 36 characters of `string`, in either letter case, and nothing else.
    static std::optional<UUID> fromString(std::string_view text);

    /// "3F2504E0-4F89-41D3-9A0C-0305E82C3301": upper-case hexadecimal digits in groups of 8-4-4-4-12.
    std::string string() const;

    const Bytes& bytes() const { return bytes_; }

    bool operator==(const UUID&) const = default;
    std::strong_ordering operator<=>(const UUID&) const = default;

  private:
    Bytes bytes_;
};

} // namespace foundation

template <>
struct std::hash<foundation::UUID> {
    std::size_t operator()(const foundation::UUID& uuid) const noexcept;
};
