// SPDX-License-Identifier: MIT
#pragma once

#include "bench/orbsim/Verdict.h"
#include "bench/orbsim/World.h"

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>

namespace orbsim {

/// What was seen of a world; sums up over worlds.
struct Figures {
    double seconds = 0; // of virtual time
    std::int64_t framesHeard = 0;
    std::int64_t requests = 0;
    std::int64_t resets = 0;
    std::map<std::string, std::int64_t> worldsWith{}; // how many worlds had this, before all was made well

    void add(const Figures& other);
};

struct Outcome {
    Figures figures;
    std::optional<Violation> violation; // the rule is "process" when the process did not come to an end
};

/// A world that runs in a process of its own, which a broken invariant may take with it. One thread; the
/// process that starts them has no other.
class IsolatedRun {
  public:
    /// Real seconds for a world; one takes less than one.
    static constexpr unsigned patience = 180;

    /// What is recorded of a service that breaks a rule is kept in `recording`, unless that is empty. Throws
    /// std::system_error.
    explicit IsolatedRun(const World& world, const std::filesystem::path& recording = {});
    ~IsolatedRun();
    IsolatedRun(IsolatedRun&& other) noexcept;
    IsolatedRun& operator=(IsolatedRun&&) = delete;

    pid_t process() const { return process_; }

    /// Waits for its end.
    Outcome finish();

  private:
    pid_t process_ = -1;
    int results_ = -1;
};

/// How this world ends; as above.
Outcome runIsolated(const World& world, const std::filesystem::path& recording = {});

} // namespace orbsim
