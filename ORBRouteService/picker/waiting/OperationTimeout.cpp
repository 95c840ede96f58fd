// SPDX-License-Identifier: MIT
#include "ORBRouteService/picker/waiting/OperationTimeout.h"

#include "platform/foundation/coding/TaggedUnion.h"

#include <array>
#include <utility>

namespace orb {

OperationTimeout::OperationTimeout(std::string operation)
    : operation_(std::move(operation)), description_("The operation “" + operation_ + "” timed out.") {}

foundation::ErrorUserInfo OperationTimeout::userInfo() const {
    return {{foundation::NSLocalizedDescriptionKey, description_}};
}

} // namespace orb

namespace foundation {
namespace {

constexpr std::array<std::string_view, 1> cases{"operationTimedOut"};
constexpr std::string_view operationKey = "operation";

} // namespace

boost::json::value Coding<orb::OperationTimeout>::encode(const orb::OperationTimeout& error) {
    return encodeTaggedUnion(cases.front(), {{operationKey, Coding<std::string>::encode(error.operation())}});
}

orb::OperationTimeout Coding<orb::OperationTimeout>::decode(const boost::json::value& coded,
                                                            const CodingPath& path) {
    return decodeTaggedUnion(coded, path, cases, [](std::size_t, const ObjectReader& fields) {
        return orb::OperationTimeout(fields.required<std::string>(operationKey));
    });
}

} // namespace foundation
