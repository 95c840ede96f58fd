// SPDX-License-Identifier: MIT
#pragma once

#include "bench/mirrorlab/Report.h"

#include "platform/dispatch/Clock.h"
#include "platform/dispatch/Ownership.h"
#include "platform/lmn/LMNLog.h"

#include <filesystem>
#include <fstream>
#include <string_view>
#include <vector>

namespace mirrorlab {

/// The log of a run: passes every line on, notes the resynchronisations, and keeps the journal. Any thread.
class LabLog final : public lmn::LMNLogTarget {
  public:
    /// `next` gets every line. Throws std::system_error when the journal, if any, cannot be written.
    LabLog(const dispatch::Clock& clock, lmn::LMNLogTarget& next,
           const std::optional<std::filesystem::path>& journal);

    void write(lmn::LMNLogLevel level, std::string_view text) noexcept override;

    /// A line for the journal alone.
    void note(std::string_view text);

    /// With times counted from `epoch`.
    std::vector<orbctl::Resynchronisation> resynchronisations(dispatch::HostTime epoch) const;

  private:
    struct Seen {
        dispatch::HostTime time;
        std::string reason;
    };

    const dispatch::Clock& clock_;
    const dispatch::HostTime start_;
    lmn::LMNLogTarget& next_;
    mutable dispatch::Lock lock_;
    std::ofstream journal_ ORB_GUARDED_BY(lock_);
    std::vector<Seen> resynchronisations_ ORB_GUARDED_BY(lock_);
};

} // namespace mirrorlab
