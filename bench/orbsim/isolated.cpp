// SPDX-License-Identifier: MIT
#include "bench/orbsim/isolated.h"

#include "bench/orbsim/Simulation.h"

#include "platform/foundation/coding/DecodingError.h"
#include "platform/foundation/coding/JSONCoder.h"

#include <fmt/format.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <exception>
#include <system_error>
#include <utility>

template <>
struct foundation::Coding<orbsim::Figures> : foundation::StructCoding<orbsim::Figures> {
    static constexpr std::tuple fields{
        Field{"seconds", &orbsim::Figures::seconds}, Field{"framesHeard", &orbsim::Figures::framesHeard},
        Field{"requests", &orbsim::Figures::requests}, Field{"resets", &orbsim::Figures::resets},
        Field{"worldsWith", &orbsim::Figures::worldsWith}};
};

template <>
struct foundation::Coding<orbsim::Violation> : foundation::StructCoding<orbsim::Violation> {
    static constexpr std::tuple fields{Field{"rule", &orbsim::Violation::rule},
                                       Field{"at", &orbsim::Violation::at},
                                       Field{"what", &orbsim::Violation::what}};
};

template <>
struct foundation::Coding<orbsim::Outcome> : foundation::StructCoding<orbsim::Outcome> {
    static constexpr std::tuple fields{Field{"figures", &orbsim::Outcome::figures},
                                       Field{"violation", &orbsim::Outcome::violation}};
};

namespace orbsim {
namespace {

std::system_error lastError(const char* what) { return {errno, std::generic_category(), what}; }

Outcome outcomeOf(const World& world, const std::filesystem::path& recording) {
    Outcome outcome;
    try {
        auto& simulation = *new Simulation(world); // ends with this process
        outcome.violation = simulation.run();
        outcome.figures = simulation.figures();
        if (outcome.violation && !recording.empty()) {
            simulation.keepRecording(recording);
        }
    } catch (const std::exception& error) {
        outcome.violation = Violation{"process", 0, fmt::format("it threw: {}", error.what())};
    }
    return outcome;
}

[[noreturn]] void runAndTell(const World& world, const std::filesystem::path& recording, int results) {
    ::alarm(IsolatedRun::patience);
    const std::string text = foundation::encodeJSON(outcomeOf(world, recording));
    const bool isTold = ::write(results, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    std::fflush(nullptr);
    ::_exit(isTold ? 0 : 1); // without the ends of what belongs to the process that was copied
}

std::string readAll(int descriptor) {
    std::string text;
    char piece[4096];
    for (ssize_t size = 0; (size = ::read(descriptor, piece, sizeof piece)) > 0;) {
        text.append(piece, static_cast<std::size_t>(size));
    }
    return text;
}

} // namespace

void Figures::add(const Figures& other) {
    seconds += other.seconds;
    framesHeard += other.framesHeard;
    requests += other.requests;
    resets += other.resets;
    for (const auto& [what, worlds] : other.worldsWith) {
        worldsWith[what] += worlds;
    }
}

IsolatedRun::IsolatedRun(const World& world, const std::filesystem::path& recording) {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) {
        throw lastError("pipe");
    }
    process_ = ::fork();
    if (process_ == 0) {
        ::close(ends[0]);
        runAndTell(world, recording, ends[1]);
    }
    ::close(ends[1]);
    results_ = ends[0];
    if (process_ < 0) {
        throw lastError("fork");
    }
}

IsolatedRun::IsolatedRun(IsolatedRun&& other) noexcept
    : process_(std::exchange(other.process_, -1)), results_(std::exchange(other.results_, -1)) {}

IsolatedRun::~IsolatedRun() {
    if (results_ >= 0) {
        ::close(results_);
    }
}

Outcome IsolatedRun::finish() {
    const std::string text = readAll(results_);
    int status = 0;
    ::waitpid(std::exchange(process_, -1), &status, 0);
    if (WIFSIGNALED(status)) {
        return {.figures = {},
                .violation = Violation{"process", 0, fmt::format("it died of signal {}", WTERMSIG(status))}};
    }
    try {
        return foundation::decodeJSON<Outcome>(text);
    } catch (const foundation::DecodingError&) {
        return {.figures = {}, .violation = Violation{"process", 0, "it told nothing"}};
    }
}

Outcome runIsolated(const World& world, const std::filesystem::path& recording) {
    return IsolatedRun(world, recording).finish();
}

} // namespace orbsim
