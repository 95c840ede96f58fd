// SPDX-License-Identifier: MIT
#pragma once

#include "platform/lmn/LMNLog.h"

namespace orb {

/// Puts the failures of the log into the flight recording as well, on their way to where all lines go. Made
/// by the composition root. Any thread, as the log.
class FlightLog final : public lmn::LMNLogTarget {
  public:
    explicit FlightLog(lmn::LMNLogTarget& target) : target_(target) {}

    void write(lmn::LMNLogLevel level, std::string_view text) noexcept override;

  private:
    lmn::LMNLogTarget& target_;
};

} // namespace orb
