// SPDX-License-Identifier: MIT
#pragma once

#include "platform/foundation/coding/JSONCoder.h"

#include <exception>
#include <string>

namespace orb {

/// Throws the error that a reply carries: the first of ORBDeviceConnectionError, IPCError, OperationTimeout
/// and IPCCancellationError that it can be read as, the last as dispatch::CancellationError. Returns when
/// none.
void throwErrorOf(const foundation::JSONDocument& reply);

/// What the payload of a reply means to a sender that waits for an R: the R if it is one, before any error.
/// Throws the error that it carries, else the DecodingError of reading an R. Any thread.
template <foundation::Codable R>
R interpretReply(const foundation::Data& payload) {
    const foundation::JSONDocument reply(payload.bytes);
    try {
        return reply.as<R>();
    } catch (const foundation::DecodingError&) {
        throwErrorOf(reply);
        throw;
    }
}

/// What an error is called in an `IPCError` and on standard output.
std::string describe(const std::exception& error);

} // namespace orb
