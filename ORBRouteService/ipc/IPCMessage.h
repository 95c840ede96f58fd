// SPDX-License-Identifier: MIT
#pragma once

#include "platform/foundation/coding/JSONCoder.h"
#include "platform/foundation/coding/StructCoding.h"

#include <tuple>
#include <utility>

namespace orb {

/// The envelope of every message between the service and its parent: the JSON text of a message, and the
/// identifier by which a reply finds its request. A value; any thread.
class IPCMessage {
  public:
    /// A new envelope has an identifier of its own.
    explicit IPCMessage(foundation::Data payload, foundation::UUID uuid = foundation::UUID::random())
        : payload_(std::move(payload)), uuid_(uuid) {}

    /// An envelope with `value` coded into it.
    template <foundation::Codable T>
    static IPCMessage wrapping(const T& value) {
        return IPCMessage(foundation::Data{foundation::encodeJSON(value)});
    }

    const foundation::Data& payload() const { return payload_; }
    const foundation::UUID& uuid() const { return uuid_; }

    /// A reply takes over the identifier of its request.
    void setUUID(const foundation::UUID& uuid) { uuid_ = uuid; }

    bool operator==(const IPCMessage&) const = default;

  private:
    foundation::Data payload_;
    foundation::UUID uuid_;
};

} // namespace orb

template <>
struct foundation::Coding<orb::IPCMessage> : foundation::StructCoding<orb::IPCMessage> {
    static constexpr std::tuple fields{Field{"payload", &orb::IPCMessage::payload},
                                       Field{"uuid", &orb::IPCMessage::uuid}};
};
