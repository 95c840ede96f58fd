// SPDX-License-Identifier: MIT
#pragma once

#include "platform/foundation/coding/Coding.h"
#include "platform/foundation/coding/ErrorUserInfo.h"

#include <exception>
#include <string>

namespace orb {

/// An operation that waited longer than it may. Thrown by the waits, and sent as a reply.
/// Coded as `{"operationTimedOut":{"operation":"…"}}`.
class OperationTimeout final : public std::exception {
  public:
    /// `operation` is its full name, such as "selectDevice(device:)".
    explicit OperationTimeout(std::string operation);

    const std::string& operation() const { return operation_; }

    /// For people: "The operation “…” timed out."
    const std::string& description() const { return description_; }
    const char* what() const noexcept override { return description_.c_str(); }

    /// The description under `NSLocalizedDescriptionKey`.
    foundation::ErrorUserInfo userInfo() const;

    bool operator==(const OperationTimeout& other) const { return operation_ == other.operation_; }

  private:
    std::string operation_;
    std::string description_;
};

} // namespace orb

template <>
struct foundation::Coding<orb::OperationTimeout> {
    static boost::json::value encode(const orb::OperationTimeout& error);
    static orb::OperationTimeout decode(const boost::json::value& coded, const CodingPath& path);
};
