// SPDX-License-Identifier: MIT
#include "bench/orbsim/Campaign.h"

#include "bench/orbsim/Simulation.h"
#include "bench/orbsim/drawWorld.h"
#include "bench/orbsim/isolated.h"
#include "bench/orbsim/shrink.h"

#include "platform/dispatch/real/RealRealm.h"
#include "platform/foundation/TemporaryDirectory.h"

#include <fmt/format.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <map>
#include <optional>
#include <utility>

namespace orbsim {
namespace {

/// Smaller worlds that are tried for each one that fails.
constexpr std::size_t shrinkingAttempts = 120;

/// Where the worlds of this process and of those that it starts keep their files, gone with it.
class Scratch {
  public:
    Scratch() { ::setenv("TMPDIR", directory_.path().c_str(), 1); }

  private:
    const foundation::TemporaryDirectory directory_;
};

class Campaign {
  public:
    explicit Campaign(const CampaignOptions& options) : options_(options) {}

    int run() {
        const dispatch::HostTime start = realm_.clock().now();
        for (std::uint64_t seed = options_.first; seed < options_.first + options_.count; ++seed) {
            if (running_.size() == options_.jobs) {
                finishOne();
            }
            IsolatedRun run(drawWorld(seed));
            const pid_t process = run.process();
            running_.emplace(process, Running{seed, std::move(run)});
        }
        while (!running_.empty()) {
            finishOne();
        }
        fmt::print(
            "{} worlds, {:.1f} h of virtual time, {:.1f} h of sound heard, {} requests, {} resets of the "
            "renderer, in {:.0f} s; {}\n",
            options_.count, total_.seconds / 3600,
            static_cast<double>(total_.framesHeard) / orb::ORBManager::renderSampleRate / 3600,
            total_.requests, total_.resets, dispatch::toSeconds(realm_.clock().now() - start),
            failures_ == 0 ? "all rules hold" : fmt::format("{} failed", failures_));
        for (const auto& [what, worlds] : total_.worldsWith) {
            fmt::print("{:5} worlds with {}\n", worlds, what);
        }
        return failures_ == 0 ? 0 : 1;
    }

  private:
    struct Running {
        std::uint64_t seed;
        IsolatedRun run;
    };

    /// Whichever ends first.
    void finishOne() {
        siginfo_t ended{};
        ::waitid(P_ALL, 0, &ended, WEXITED | WNOWAIT);
        const auto found = running_.find(ended.si_pid);
        auto [seed, run] = std::move(found->second);
        running_.erase(found);
        const Outcome outcome = run.finish();
        total_.add(outcome.figures);
        if (outcome.violation) {
            tell(seed, *outcome.violation);
        }
    }

    void tell(std::uint64_t seed, const Violation& violation) {
        ++failures_;
        std::filesystem::create_directories(options_.output);
        const auto file = options_.output / fmt::format("{}.json", seed);
        const auto failsAlike = [&](const World& world) {
            const Outcome outcome = runIsolated(world);
            return outcome.violation && outcome.violation->rule == violation.rule;
        };
        const World smallest = shrink(drawWorld(seed), failsAlike, shrinkingAttempts);
        smallest.write(file);
        runIsolated(smallest, options_.output / fmt::format("{}.flight", seed));
        fmt::print("{} at {:.3f} s: {}\n    orbsim --seed {} --world {}\n", violation.rule, violation.at,
                   violation.what, seed, file.string());
        std::fflush(stdout);
    }

    const CampaignOptions& options_;
    const Scratch scratch_;
    const dispatch::RealRealm realm_; // for its clock
    std::map<pid_t, Running> running_;
    Figures total_;
    std::uint64_t failures_ = 0;
};

} // namespace

int runCampaign(const CampaignOptions& options) { return Campaign(options).run(); }

void narrate(const World& world) {
    std::optional<Scratch> scratch(std::in_place);
    auto& simulation = *new Simulation(world); // ends with this process
    simulation.setNarrator([](const std::string& line) { fmt::print("{}\n", line); });
    const auto violation = simulation.run();
    scratch.reset();
    if (violation) {
        for (const std::string& line : simulation.log()) {
            fmt::print("{}", line);
        }
        fmt::print("{} at {:.3f} s: {}\n", violation->rule, violation->at, violation->what);
    } else {
        fmt::print("all rules hold\n");
    }
    std::fflush(stdout);
    ::_exit(violation ? 1 : 0);
}

} // namespace orbsim
