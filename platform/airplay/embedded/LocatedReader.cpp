// SPDX-License-Identifier: MIT
#include "platform/airplay/embedded/LocatedReader.h"

#include "platform/airplay/embedded/ReceiversFileError.h"

#include <fmt/format.h>

#include <algorithm>

namespace airplay {
namespace {

constexpr double longestSpan = 3600; // s

} // namespace

void LocatedReader::require(bool condition, std::size_t offset, const std::string& reason) const {
    if (condition) {
        return;
    }
    const std::string_view before = text_.substr(0, offset);
    const std::size_t lineStart = before.rfind('\n') + 1; // 0 when there is none
    const auto beginsCharacter = [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U; };
    throw ReceiversFileError(fmt::format("{}:{}:{}: {}", path_.string(), std::ranges::count(before, '\n') + 1,
                                         std::ranges::count_if(before.substr(lineStart), beginsCharacter) + 1,
                                         reason));
}

const LocatedJson* LocatedReader::find(const LocatedJson& object, std::string_view key) {
    const auto member = std::ranges::find(object.members, key, &LocatedJson::Member::key);
    return member != object.members.end() ? &member->value : nullptr;
}

void LocatedReader::requireKeys(const LocatedJson& object, Keys required, Keys optional) const {
    require(object.value.is_object(), object.offset, "must be an object");
    for (const auto& member : object.members) {
        const auto isKey = [&](std::string_view key) { return key == member.key; };
        require(std::ranges::any_of(required, isKey) || std::ranges::any_of(optional, isKey), member.offset,
                fmt::format("unknown key \"{}\"", member.key));
        require(find(object, member.key) == &member.value, member.offset,
                fmt::format("key \"{}\" is given twice", member.key));
    }
    for (const std::string_view key : required) {
        require(find(object, key) != nullptr, object.offset, fmt::format("key \"{}\" is missing", key));
    }
}

std::string LocatedReader::text(const LocatedJson& object, std::string_view key, std::size_t limit) const {
    const LocatedJson& found = *find(object, key);
    const auto* string = found.value.if_string();
    require(string != nullptr && !string->empty() && string->size() <= limit &&
                string->find('\0') == boost::json::string::npos,
            found.offset, fmt::format("\"{}\" must be a text of 1 to {} bytes", key, limit));
    return std::string(*string);
}

double LocatedReader::number(const LocatedJson& object, std::string_view key, double absent,
                             double limit) const {
    const LocatedJson* found = find(object, key);
    if (found == nullptr) {
        return absent;
    }
    const bool isNumber = found->value.is_number();
    const double number = isNumber ? found->value.to_number<double>() : 0;
    require(isNumber && number >= 0 && number <= limit, found->offset,
            fmt::format("\"{}\" must be a number from 0 to {}", key, limit));
    return number;
}

dispatch::Nanoseconds LocatedReader::seconds(const LocatedJson& object, std::string_view key) const {
    return dispatch::toNanoseconds(number(object, key, 0, longestSpan));
}

} // namespace airplay
