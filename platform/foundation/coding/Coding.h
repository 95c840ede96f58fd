// SPDX-License-Identifier: MIT
#pragma once

#include "platform/foundation/coding/CodingPath.h"
#include "platform/foundation/coding/Data.h"
#include "platform/foundation/coding/UUID.h"

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/value.hpp>

#include <concepts>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace foundation {

/// How a type crosses to other processes: specialised beside each such type. Structs and tagged unions have
/// ready-made ones, see `StructCoding.h` and `TaggedUnion.h`.
///   static boost::json::value encode(const T&);
///   static T decode(const boost::json::value&, const CodingPath&);   throws DecodingError
template <typename T>
struct Coding;

template <typename T>
concept Codable = requires(const T& value, const boost::json::value& coded, const CodingPath& path) {
    { Coding<T>::encode(value) } -> std::same_as<boost::json::value>;
    { Coding<T>::decode(coded, path) } -> std::same_as<T>;
};

/// The error of a reader that expected something else than `value`; "a text" is an `expected`.
[[noreturn]] void throwUnexpected(const boost::json::value& value, const CodingPath& path,
                                  const char* expected);

/// A text. Bytes that are no UTF-8 are written as U+FFFD each, since a message must always be readable.
template <>
struct Coding<std::string> {
    static boost::json::value encode(const std::string& text);
    static std::string decode(const boost::json::value& coded, const CodingPath& path);
};

template <>
struct Coding<bool> {
    static boost::json::value encode(bool value) { return value; }
    static bool decode(const boost::json::value& coded, const CodingPath& path);
};

/// A number without a fraction, however it is written, within the type's range.
template <>
struct Coding<std::int64_t> {
    static boost::json::value encode(std::int64_t value) { return value; }
    static std::int64_t decode(const boost::json::value& coded, const CodingPath& path);
};

/// As above.
template <>
struct Coding<std::int32_t> {
    static boost::json::value encode(std::int32_t value) { return value; }
    static std::int32_t decode(const boost::json::value& coded, const CodingPath& path);
};

/// Any finite number.
template <>
struct Coding<double> {
    static boost::json::value encode(double value) { return value; }
    static double decode(const boost::json::value& coded, const CodingPath& path);
};

/// A text in Base64, see `dataFromBase64`.
template <>
struct Coding<Data> {
    static boost::json::value encode(const Data& data);
    static Data decode(const boost::json::value& coded, const CodingPath& path);
};

/// A text, see `UUID::fromString`.
template <>
struct Coding<UUID> {
    static boost::json::value encode(const UUID& uuid);
    static UUID decode(const boost::json::value& coded, const CodingPath& path);
};

/// An array; of a set, in the set's order. Equal elements read become one.
template <typename Container>
struct ArrayCoding {
    using Element = typename Container::value_type;

    static boost::json::value encode(const Container& elements) {
        boost::json::array coded;
        coded.reserve(elements.size());
        for (const Element& element : elements)
            coded.push_back(Coding<Element>::encode(element));
        return coded;
    }

    static Container decode(const boost::json::value& coded, const CodingPath& path) {
        const boost::json::array* array = coded.if_array();
        if (array == nullptr)
            throwUnexpected(coded, path, "an array");
        Container elements;
        for (std::size_t i = 0; i < array->size(); ++i)
            elements.insert(elements.end(), Coding<Element>::decode((*array)[i], path.index(i)));
        return elements;
    }
};

template <Codable T>
struct Coding<std::set<T>> : ArrayCoding<std::set<T>> {};
template <Codable T>
struct Coding<std::vector<T>> : ArrayCoding<std::vector<T>> {};

/// An object with any keys.
template <Codable T>
struct Coding<std::map<std::string, T>> {
    static boost::json::value encode(const std::map<std::string, T>& members) {
        boost::json::object coded;
        for (const auto& [key, member] : members)
            coded.emplace(key, Coding<T>::encode(member));
        return coded;
    }

    static std::map<std::string, T> decode(const boost::json::value& coded, const CodingPath& path) {
        const boost::json::object* object = coded.if_object();
        if (object == nullptr)
            throwUnexpected(coded, path, "an object");
        std::map<std::string, T> members;
        for (const auto& [key, member] : *object)
            members.emplace(key, Coding<T>::decode(member, path.key(key)));
        return members;
    }
};

} // namespace foundation
