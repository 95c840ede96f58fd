// SPDX-License-Identifier: MIT
#include "ORBRouteService/ipc/ReplyInterpretation.h"

#include "ORBRouteService/ipc/IPCCancellationError.h"
#include "ORBRouteService/ipc/IPCError.h"
#include "ORBRouteService/ipc/ORBDeviceConnectionError.h"
#include "ORBRouteService/picker/waiting/OperationTimeout.h"

#include "platform/dispatch/Task.h"

#include <optional>

namespace orb {
namespace {

template <foundation::Codable T>
std::optional<T> readAs(const foundation::JSONDocument& document) {
    try {
        return document.as<T>();
    } catch (const foundation::DecodingError&) {
        return std::nullopt;
    }
}

template <foundation::Codable Error>
void throwIf(const foundation::JSONDocument& reply) {
    if (auto error = readAs<Error>(reply))
        throw *std::move(error);
}

} // namespace

void throwErrorOf(const foundation::JSONDocument& reply) {
    throwIf<ORBDeviceConnectionError>(reply);
    throwIf<IPCError>(reply);
    throwIf<OperationTimeout>(reply);
    if (readAs<IPCCancellationError>(reply))
        throw dispatch::CancellationError();
}

std::string describe(const std::exception& error) { return error.what(); }

} // namespace orb
