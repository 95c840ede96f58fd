// SPDX-License-Identifier: MIT
#include "ORBRouteService/log/flight/FlightLog.h"

#include "ORBRouteService/log/flight/FlightRecorder.h"

namespace orb {

void FlightLog::write(lmn::LMNLogLevel level, std::string_view text) noexcept {
    constexpr lmn::LMNLogLevel failure = 4;
    if (level >= failure)
        recordFlight(FlightKind::log, {.text = text.substr(0, text.find_last_not_of('\n') + 1)});
    target_.write(level, text);
}

} // namespace orb
