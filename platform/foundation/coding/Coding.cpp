// SPDX-License-Identifier: MIT
#include "platform/foundation/coding/Coding.h"

#include "platform/foundation/PreferenceValue.h"
#include "platform/foundation/coding/Base64.h"
#include "platform/foundation/coding/DecodingError.h"

#include <fmt/format.h>
#include <unistr.h>

#include <cmath>
#include <optional>
#include <string_view>

namespace foundation {
namespace {

namespace json = boost::json;
using Kind = DecodingError::Kind;

const json::string& textOf(const json::value& coded, const CodingPath& path) {
    const json::string* text = coded.if_string();
    if (text == nullptr)
        throwUnexpected(coded, path, "a text");
    return *text;
}

/// How many bytes of UTF-8 `text` begins with.
std::size_t validPrefix(std::string_view text) {
    const auto* begin = reinterpret_cast<const std::uint8_t*>(text.data());
    const std::uint8_t* invalid = u8_check(begin, text.size());
    return invalid == nullptr ? text.size() : static_cast<std::size_t>(invalid - begin);
}

} // namespace

void throwUnexpected(const json::value& value, const CodingPath& path, const char* expected) {
    throw DecodingError(value.is_null() ? Kind::valueNotFound : Kind::typeMismatch, path,
                        fmt::format("Expected {}, found {}.", expected, kindOf(value)));
}

json::value Coding<std::string>::encode(const std::string& text) {
    constexpr std::string_view replacement = "\xEF\xBF\xBD"; // U+FFFD
    json::string coded;
    coded.reserve(text.size());
    std::string_view rest = text;
    for (;;) {
        const std::size_t valid = validPrefix(rest);
        coded.append(rest.substr(0, valid));
        if (valid == rest.size())
            return coded;
        coded.append(replacement);
        rest.remove_prefix(valid + 1);
    }
}

std::string Coding<std::string>::decode(const json::value& coded, const CodingPath& path) {
    return std::string(textOf(coded, path));
}

bool Coding<bool>::decode(const json::value& coded, const CodingPath& path) {
    if (!coded.is_bool())
        throwUnexpected(coded, path, "a boolean");
    return coded.get_bool();
}

double Coding<double>::decode(const json::value& coded, const CodingPath& path) {
    json::error_code error;
    const auto number = coded.to_number<double>(error);
    if (error || !std::isfinite(number))
        throwUnexpected(coded, path, "a finite number");
    return number;
}

std::int64_t Coding<std::int64_t>::decode(const json::value& coded, const CodingPath& path) {
    json::error_code error;
    const auto number = coded.to_number<std::int64_t>(error);
    if (error)
        throwUnexpected(coded, path, "an integer of 64 bits");
    return number;
}

std::int32_t Coding<std::int32_t>::decode(const json::value& coded, const CodingPath& path) {
    json::error_code error;
    const auto number = coded.to_number<std::int32_t>(error);
    if (error)
        throwUnexpected(coded, path, "an integer of 32 bits");
    return number;
}

json::value Coding<Data>::encode(const Data& data) { return json::string(base64(data)); }

Data Coding<Data>::decode(const json::value& coded, const CodingPath& path) {
    std::optional<Data> data = dataFromBase64(textOf(coded, path));
    if (!data)
        throw DecodingError(Kind::dataCorrupted, path, "The text is not Base64.");
    return *std::move(data);
}

json::value Coding<UUID>::encode(const UUID& uuid) { return json::string(uuid.string()); }

UUID Coding<UUID>::decode(const json::value& coded, const CodingPath& path) {
    const std::optional<UUID> uuid = UUID::fromString(textOf(coded, path));
    if (!uuid)
        throw DecodingError(Kind::dataCorrupted, path, "The text is not a UUID.");
    return *uuid;
}

} // namespace foundation
