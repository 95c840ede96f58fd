// SPDX-License-Identifier: MIT
#include "ORBRouteService/log/ORBDebugLog.h"

namespace orb {

void ORBDebugLog(LMNLogLevel level, std::string_view message) noexcept {
    constexpr std::string_view tag = "[Orbweaver] ";
    fmt::memory_buffer line;
    line.append(tag);
    line.append(message);
    line.push_back('\n');
    line.push_back('\0'); // ends the text for whoever reads it as one; not counted
    lmn::LMNLog(level, std::string_view(line.data(), line.size() - 1));
}

} // namespace orb
