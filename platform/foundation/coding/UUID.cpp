// SPDX-License-Identifier: MIT
#include "platform/foundation/coding/UUID.h"

#include <boost/uuid/random_generator.hpp>

#include <algorithm>

namespace foundation {
namespace {

constexpr std::string_view digits = "0123456789ABCDEF";

/// Whether a group of digits ends before this byte.
constexpr bool followsDash(std::size_t byte) { return byte == 4 || byte == 6 || byte == 8 || byte == 10; }

/// The value of a hexadecimal digit; 16 and more for anything else.
unsigned digitValue(char c) {
    const char upper = c >= 'a' && c <= 'f' ? static_cast<char>(c - 'a' + 'A') : c;
    return static_cast<unsigned>(std::min(digits.find(upper), digits.size()));
}

} // namespace

UUID UUID::random() {
    const boost::uuids::uuid made = boost::uuids::random_generator()();
    Bytes bytes;
    std::ranges::copy(made, bytes.begin());
    return UUID(bytes);
}

std::optional<UUID> UUID::fromString(std::string_view text) {
    if (text.size() != 36)
        return std::nullopt;
    Bytes bytes;
    const char* next = text.data();
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (followsDash(i) && *next++ != '-')
            return std::nullopt;
        const unsigned high = digitValue(*next++);
        const unsigned low = digitValue(*next++);
        if (high >= digits.size() || low >= digits.size())
            return std::nullopt;
        bytes[i] = static_cast<std::uint8_t>(high * 16 + low);
    }
    return UUID(bytes);
}

std::string UUID::string() const {
    std::string text;
    text.reserve(36);
    for (std::size_t i = 0; i < bytes_.size(); ++i) {
        if (followsDash(i))
            text += '-';
        text += digits[bytes_[i] / 16];
        text += digits[bytes_[i] % 16];
    }
    return text;
}

} // namespace foundation

std::size_t std::hash<foundation::UUID>::operator()(const foundation::UUID& uuid) const noexcept {
    const foundation::UUID::Bytes& bytes = uuid.bytes();
    return std::hash<std::string_view>()({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}
