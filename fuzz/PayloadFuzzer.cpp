// SPDX-License-Identifier: MIT
// The payload of a message, as each type that is sent: it is read or refused, and what was read is coded so
// that it reads as the same. As a reply it is a value, one of the errors that cross, or no reply at all.
#include "ORBRouteService/ipc/IPCCancellationError.h"
#include "ORBRouteService/ipc/IPCError.h"
#include "ORBRouteService/ipc/ORBAppToServiceMessage.h"
#include "ORBRouteService/ipc/ORBDeviceConnectionError.h"
#include "ORBRouteService/ipc/ORBServiceToAppMessage.h"
#include "ORBRouteService/ipc/ORBUpdateDevicesReply.h"
#include "ORBRouteService/ipc/ReplyInterpretation.h"
#include "ORBRouteService/picker/waiting/OperationTimeout.h"

#include "fuzz/Fuzzing.h"
#include "platform/dispatch/Task.h"

#include <string>

namespace {

using namespace foundation;
using namespace orb;

/// Whether the document can be read as a T.
template <Codable T>
bool reads(const JSONDocument& document) {
    const auto value = fuzz::parsed<DecodingError>([&] { return document.as<T>(); });
    if (value) {
        const std::string again = encodeJSON(*value);
        ORB_CHECK(decodeJSON<T>(again) == *value, "{}", again);
    }
    return value.has_value();
}

template <Codable... Types>
bool readsAsOneOf(const JSONDocument& document) {
    return (static_cast<int>(reads<Types>(document)) + ...) > 0;
}

enum class Outcome { value, error, noReply };

Outcome interpret(std::string_view payload) {
    try {
        interpretReply<ORBUpdateDevicesReply>(Data{std::string(payload)});
        return Outcome::value;
    } catch (const DecodingError&) {
        return Outcome::noReply;
    } catch (const ORBDeviceConnectionError&) {
    } catch (const IPCError&) {
    } catch (const OperationTimeout&) {
    } catch (const dispatch::CancellationError&) {
    }
    return Outcome::error;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view payload = fuzz::textOf(data, size);
    const Outcome outcome = interpret(payload);
    fuzz::parsed<DecodingError>([&] {
        const JSONDocument document(payload);
        readsAsOneOf<ORBAppToServiceMessage, ORBServiceToAppMessage, LMNDeviceCodable>(document);
        const bool isReply = reads<ORBUpdateDevicesReply>(document);
        const bool isError =
            readsAsOneOf<ORBDeviceConnectionError, IPCError, OperationTimeout, IPCCancellationError>(
                document);
        const Outcome expected = isReply ? Outcome::value : isError ? Outcome::error : Outcome::noReply;
        ORB_CHECK(outcome == expected, "{} for {}", static_cast<int>(outcome), payload);
        return true;
    });
    return 0;
}
