// SPDX-License-Identifier: MIT
#pragma once

#include "platform/foundation/coding/StructCoding.h"

#include <exception>
#include <tuple>

namespace orb {

/// The cancellation of a request, as it crosses between the service and its parent: an object without keys,
/// and so any object at all. A value, also thrown; any thread.
class IPCCancellationError final : public std::exception {
  public:
    const char* what() const noexcept override { return "cancelled"; }

    bool operator==(const IPCCancellationError&) const { return true; }
};

} // namespace orb

template <>
struct foundation::Coding<orb::IPCCancellationError> : foundation::StructCoding<orb::IPCCancellationError> {
    static constexpr std::tuple<> fields{};
};
