// SPDX-License-Identifier: MIT
#pragma once

#include "platform/foundation/coding/StructCoding.h"

#include <exception>
#include <string>
#include <tuple>
#include <utility>

namespace orb {

/// An error that has no coded form of its own, as it crosses between the service and its parent: the text of
/// what was caught. A value, also thrown; any thread.
class IPCError final : public std::exception {
  public:
    /// A new error has an identifier of its own.
    explicit IPCError(std::string error, foundation::UUID uuid = foundation::UUID::random())
        : error_(std::move(error)), uuid_(uuid) {}

    const std::string& error() const { return error_; }
    void setError(std::string error) { error_ = std::move(error); }

    const foundation::UUID& uuid() const { return uuid_; }
    void setUUID(const foundation::UUID& uuid) { uuid_ = uuid; }

    /// The text.
    const char* what() const noexcept override { return error_.c_str(); }

    bool operator==(const IPCError& other) const { return error_ == other.error_ && uuid_ == other.uuid_; }

  private:
    std::string error_;
    foundation::UUID uuid_;
};

} // namespace orb

template <>
struct foundation::Coding<orb::IPCError> : foundation::StructCoding<orb::IPCError> {
    static constexpr std::tuple fields{Field{"error", &orb::IPCError::error},
                                       Field{"uuid", &orb::IPCError::uuid}};
};
