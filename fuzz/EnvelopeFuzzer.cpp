// SPDX-License-Identifier: MIT
// The envelope of a message, from whoever can open the port: it is read or refused, and what was read is sent
// on as it came. The same bytes as a payload arrive as they are.
#include "ORBRouteService/ipc/IPCMessage.h"

#include "fuzz/Fuzzing.h"

#include <string>

using namespace foundation;
using orb::IPCMessage;

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text = fuzz::textOf(data, size);
    const auto message = fuzz::parsed<DecodingError>([&] { return decodeJSON<IPCMessage>(text); });
    if (message) {
        const std::string again = encodeJSON(*message);
        ORB_CHECK(decodeJSON<IPCMessage>(again) == *message, "{}", again);
    }
    const IPCMessage carrying(Data{std::string(text)}, UUID(UUID::Bytes{}));
    ORB_CHECK(decodeJSON<IPCMessage>(encodeJSON(carrying)) == carrying, "a payload changed on its way");
    return 0;
}
