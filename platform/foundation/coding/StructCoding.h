// SPDX-License-Identifier: MIT
#pragma once

#include "platform/foundation/coding/ObjectReader.h"

#include <functional>
#include <optional>
#include <string_view>
#include <tuple>
#include <type_traits>

namespace foundation {

/// A field of a struct: its key, and the member or getter that yields it.
template <typename Accessor>
struct Field {
    std::string_view key;
    Accessor accessor;
};
template <typename Accessor>
Field(const char*, Accessor) -> Field<Accessor>;

/// The coding of a struct as an object with one key per field, written in the order of the table. An optional
/// field is left out when absent. T is made of the fields' values in that order.
///
///   template <> struct foundation::Coding<Point> : foundation::StructCoding<Point> {
///       static constexpr std::tuple fields{Field{"x", &Point::x}, Field{"y", &Point::y}};
///   };
template <typename T>
struct StructCoding {
    static boost::json::value encode(const T& value) {
        boost::json::object coded;
        std::apply([&](const auto&... fields) { (put(coded, fields, value), ...); }, Coding<T>::fields);
        return coded;
    }

    static T decode(const boost::json::value& coded, const CodingPath& path) {
        return decodeFields(ObjectReader(coded, path));
    }

    static T decodeFields(const ObjectReader& object) {
        // In braces the fields are read from first to last.
        return std::apply([&](const auto&... fields) { return T{take(object, fields)...}; },
                          Coding<T>::fields);
    }

  private:
    template <typename Value>
    struct Wrapped : std::false_type {};
    template <typename Value>
    struct Wrapped<std::optional<Value>> : std::true_type {};

    template <typename Accessor>
    using ValueOf = std::remove_cvref_t<std::invoke_result_t<const Accessor&, const T&>>;

    template <typename Accessor>
    static void put(boost::json::object& coded, const Field<Accessor>& field, const T& value) {
        using Value = ValueOf<Accessor>;
        const Value& member = std::invoke(field.accessor, value);
        if constexpr (!Wrapped<Value>::value)
            coded.emplace(field.key, Coding<Value>::encode(member));
        else if (member)
            coded.emplace(field.key, Coding<typename Value::value_type>::encode(*member));
    }

    template <typename Accessor>
    static ValueOf<Accessor> take(const ObjectReader& object, const Field<Accessor>& field) {
        using Value = ValueOf<Accessor>;
        if constexpr (Wrapped<Value>::value)
            return object.optional<typename Value::value_type>(field.key);
        else
            return object.required<Value>(field.key);
    }
};

} // namespace foundation
