// SPDX-License-Identifier: MIT
#include "ORBRouteService/devices/isUTF8.h"

#include <unistr.h>

#include <cstdint>

namespace orb {

bool isUTF8(std::string_view bytes) {
    return u8_check(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()) == nullptr;
}

} // namespace orb
