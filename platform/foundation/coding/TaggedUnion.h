// SPDX-License-Identifier: MIT
#pragma once

#include "platform/foundation/coding/StructCoding.h"

#include <array>
#include <concepts>
#include <cstddef>
#include <span>
#include <string_view>
#include <utility>
#include <variant>

namespace foundation {

/// {"caseName": fields}; `fields` is an object.
boost::json::value encodeTaggedUnion(std::string_view caseName, boost::json::value fields);

/// The position in `caseNames` of the only one that is a key of the object. Throws DecodingError (type
/// mismatch, "Invalid number of keys found, expected one.") when there is none or more than one.
std::size_t recognisedCase(const ObjectReader& object, std::span<const std::string_view> caseNames);

/// Reads an object whose one recognised key tells the case; other keys do not count. The result is that of
/// `decodeCase(std::size_t caseIndex, const ObjectReader& fields)`. Throws DecodingError.
template <typename DecodeCase>
auto decodeTaggedUnion(const boost::json::value& coded, const CodingPath& path,
                       std::span<const std::string_view> caseNames, DecodeCase&& decodeCase) {
    const ObjectReader object(coded, path);
    const std::size_t index = recognisedCase(object, caseNames);
    const CodingPath casePath = path.key(caseNames[index]);
    return std::forward<DecodeCase>(decodeCase)(index,
                                                ObjectReader(*object.find(caseNames[index]), casePath));
}

template <typename T>
concept TaggedCase = std::same_as<decltype(T::caseName), const std::string_view> &&
                     std::derived_from<Coding<T>, StructCoding<T>>;

/// A variant of structs is a tagged union; the name of each case is its struct's `caseName`.
template <TaggedCase... Cases>
struct Coding<std::variant<Cases...>> {
    using Union = std::variant<Cases...>;

    static boost::json::value encode(const Union& value) {
        return std::visit(
            []<typename Case>(const Case& chosen) {
                return encodeTaggedUnion(Case::caseName, Coding<Case>::encode(chosen));
            },
            value);
    }

    static Union decode(const boost::json::value& coded, const CodingPath& path) {
        static constexpr std::array caseNames{Cases::caseName...};
        static constexpr std::array decoders{&decodeCase<Cases>...};
        return decodeTaggedUnion(coded, path, caseNames, [](std::size_t index, const ObjectReader& fields) {
            return decoders[index](fields);
        });
    }

  private:
    template <typename Case>
    static Union decodeCase(const ObjectReader& fields) {
        return Coding<Case>::decodeFields(fields);
    }
};

} // namespace foundation
