// SPDX-License-Identifier: MIT
#include "bench/BenchSupport.h"
#include "bench/BenchedService.h"
#include "bench/ChildProcess.h"
#include "bench/LinkEnd.h"
#include "bench/ProcessFigures.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <boost/asio/local/stream_protocol.hpp>

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <string>
#include <vector>

// What the service costs as a process of its own, beside a parent that is this program: its start, its
// memory, its share of a core and its wake-ups while it rests and while it plays, and what a request takes on
// top of the waits that are laid down for it. EmptyService.cpp is what it is compared with.

namespace {

using bench::BenchedService;
using bench::ChildProcess;
using bench::median;
using bench::ProcessFigures;
using bench::ServiceHome;
using bench::SoundFiles;
using dispatch::Task;
using orbctl::ParentPlatform;

constexpr auto untilSteady = std::chrono::seconds(3); // beyond the latency

/// The picker's arrival takes 50 ms, the next look for its rows comes after 0.1 s, and the next one for the
/// connection after 0.5 s, by when the receiver has connected.
constexpr double routingWaits = 0.65; // s

/// What is routed already takes the picker's arrival only.
constexpr double repeatedWaits = 0.05; // s

std::string emptyProgram() { return HOUSE_EMPTY_SERVICE; }

/// Runs a benchmark's work as a parent application; what fails there fails the benchmark.
template <typename Work>
void asParent(benchmark::State& state, Work work) {
    const bench::QuietLog quiet;
    try {
        if (orbctl::onParentPlatform([&](ParentPlatform& platform) { return work(platform); }) != 0) {
            std::exit(orbctl::interruptedStatus);
        }
    } catch (const std::exception& error) {
        state.SkipWithError(error.what());
    }
}

double secondsSince(dispatch::HostTime begin, const dispatch::Clock& clock) {
    return dispatch::toSeconds(clock.now() - begin);
}

/// Of the empty program, until it has begun.
double timeEmptyProgram(const dispatch::Clock& clock) {
    const dispatch::HostTime begin = clock.now();
    const ChildProcess empty(emptyProgram(), "--begin");
    empty.awaitSign();
    return secondsSince(begin, clock);
}

/// Until the service's port takes a connection: it opens that before it looks for the parent's, which is what
/// shows here.
double timeService(ParentPlatform& platform, const lmn::LMNDevice& played) {
    using Protocol = boost::asio::local::stream_protocol;
    const foundation::RuntimeDirectory ports = platform.runtimeDirectory().subdirectory("ports");
    const orbctl::PortNames names = orbctl::PortNames::fresh();
    boost::asio::io_context io;
    Protocol::acceptor parentsPort(io, Protocol::endpoint(ports.socketPath(names.parent)));
    const std::string argument = bench::launchArgument(played, names, false);

    const dispatch::Clock& clock = platform.realm().clock();
    const dispatch::HostTime begin = clock.now();
    const ChildProcess service(bench::serviceProgram(), argument);
    bench::awaitReadable(parentsPort.native_handle());
    Protocol::socket connection(io);
    connection.connect(Protocol::endpoint(ports.socketPath(names.service)));
    return secondsSince(begin, clock);
}

Task<int> measureStarts(ParentPlatform& platform, benchmark::State& state) {
    const auto played = bench::makePlayedDevice(platform.deviceManager());
    std::vector<double> services, empties;
    for (auto _ : state) {
        empties.push_back(timeEmptyProgram(platform.realm().clock()));
        services.push_back(timeService(platform, *played));
        state.SetIterationTime(services.back());
    }
    state.counters["serviceMilliseconds"] = median(services) * 1e3;
    state.counters["emptyMilliseconds"] = median(empties) * 1e3;
    state.counters["serviceToEmpty"] = median(services) / median(empties);
    co_return 0;
}

void starting(benchmark::State& state) {
    const ServiceHome home(1, SoundFiles::none);
    asParent(state, [&](ParentPlatform& platform) { return measureStarts(platform, state); });
}
BENCHMARK(starting)->UseManualTime()->Iterations(20)->Unit(benchmark::kMillisecond);

/// A process between two moments.
struct Watched {
    ProcessFigures before;
    ProcessFigures after;
    double seconds = 0;

    double cpu() const { return after.total().cpu - before.total().cpu; }
    double wakeups() const { return after.total().wakeups - before.total().wakeups; }
};

/// What each thread that woke did.
std::string describeThreads(Watched watched) {
    std::vector<std::string> shares;
    for (const auto& [name, thread] : watched.after.threads) {
        const ProcessFigures::Thread& start = watched.before.threads[name];
        if (thread.wakeups > start.wakeups) {
            shares.push_back(fmt::format("{}: {:.2f} % {:.1f}/s", name,
                                         (thread.cpu - start.cpu) / watched.seconds * 100,
                                         (thread.wakeups - start.wakeups) / watched.seconds));
        }
    }
    return fmt::format("{}", fmt::join(shares, ", "));
}

Task<Watched> watch(pid_t process, dispatch::Nanoseconds duration, const dispatch::Clock& clock) {
    Watched watched{.before = ProcessFigures::of(process), .after = {}};
    const dispatch::HostTime begin = clock.now();
    co_await dispatch::sleepFor(duration);
    watched.after = ProcessFigures::of(process);
    watched.seconds = secondsSince(begin, clock);
    co_return watched;
}

/// What waking up costs by itself on this machine, s of a core.
Task<double> cpuOfABareWakeup(const dispatch::Clock& clock) {
    const ChildProcess waking(emptyProgram(), "--wake");
    waking.awaitSign();
    const Watched watched = co_await watch(waking.id(), std::chrono::seconds(4), clock);
    co_return watched.cpu() / watched.wakeups();
}

void publish(benchmark::State& state, const Watched& watched) {
    const ChildProcess empty(emptyProgram(), "--rest");
    empty.awaitSign();
    const ProcessFigures floor = ProcessFigures::of(empty.id());
    state.SetIterationTime(watched.seconds);
    state.counters["cpuPercent"] = watched.cpu() / watched.seconds * 100;
    state.counters["wakeupsPerSecond"] = watched.wakeups() / watched.seconds;
    state.counters["residentMiB"] = watched.after.resident / 1024;
    state.counters["unsharedMiB"] = watched.after.unshared / 1024;
    state.counters["residentToEmpty"] = watched.after.resident / floor.resident;
    state.counters["unsharedToEmpty"] = watched.after.unshared / floor.unshared;
    state.SetLabel(describeThreads(watched));
}

Task<int> measureRest(ParentPlatform& platform, benchmark::State& state, const ServiceHome& home) {
    for (auto _ : state) {
        BenchedService service(platform, home);
        co_await service.connect();
        if (state.range(0) != 0) {
            co_await service.route();
        }
        co_await dispatch::sleepFor(untilSteady);
        const Watched watched =
            co_await watch(service.process(), std::chrono::seconds(10), platform.realm().clock());
        publish(state, watched);
    }
    co_return 0;
}

Task<int> measurePlaying(ParentPlatform& platform, benchmark::State& state, const ServiceHome& home) {
    const dispatch::Clock& clock = platform.realm().clock();
    for (auto _ : state) {
        BenchedService service(platform, home);
        co_await service.connect();
        co_await service.route();
        co_await service.play();
        co_await dispatch::sleepFor(untilSteady);
        const Watched watched = co_await watch(service.process(), std::chrono::seconds(30), clock);
        publish(state, watched);
        if (service.connected() != state.range(0) || !service.isPlaying()) {
            state.SkipWithError("not all receivers play to the end");
        }
        const double bareWakeup = co_await cpuOfABareWakeup(clock);
        state.counters["bareWakeupMicroseconds"] = bareWakeup * 1e6;
        state.counters["cpuToBareWakeups"] = watched.cpu() / (bareWakeup * watched.wakeups());
    }
    co_return 0;
}

/// The argument: how many receivers are routed, and play nothing.
void resting(benchmark::State& state) {
    const ServiceHome home(1, SoundFiles::none);
    asParent(state, [&](ParentPlatform& platform) { return measureRest(platform, state, home); });
}
BENCHMARK(resting)->ArgName("receivers")->Arg(0)->Arg(1)->UseManualTime()->Iterations(1);

/// The arguments: how many receivers play, and whether they keep what they play in sound files.
void playing(benchmark::State& state) {
    const ServiceHome home(static_cast<int>(state.range(0)),
                           state.range(1) != 0 ? SoundFiles::each : SoundFiles::none);
    asParent(state, [&](ParentPlatform& platform) { return measurePlaying(platform, state, home); });
}
BENCHMARK(playing)
    ->ArgNames({"receivers", "files"})
    ->ArgsProduct({{1, 8}, {0, 1}})
    ->UseManualTime()
    ->Iterations(1);

Task<int> measureRequests(ParentPlatform& platform, benchmark::State& state, const ServiceHome& home) {
    BenchedService service(platform, home);
    co_await service.connect();
    std::vector<double> routings, repetitions;
    for (auto _ : state) {
        routings.push_back(co_await service.route());
        repetitions.push_back(co_await service.route());
        co_await service.unroute();
        state.SetIterationTime(routings.back());
        co_await dispatch::sleepFor(std::chrono::milliseconds(300)); // the service looks again meanwhile
    }
    state.counters["routingMilliseconds"] = median(routings) * 1e3;
    state.counters["ofItOursMilliseconds"] = (median(routings) - routingWaits) * 1e3;
    state.counters["atMostOursMilliseconds"] = (std::ranges::max(routings) - routingWaits) * 1e3;
    state.counters["repetitionMilliseconds"] = median(repetitions) * 1e3;
    state.counters["ofItsOursMilliseconds"] = (median(repetitions) - repeatedWaits) * 1e3;
    co_return 0;
}

/// From the parent's request to the reply, for one receiver that takes 0.25 s to connect.
void requesting(benchmark::State& state) {
    const ServiceHome home(1, SoundFiles::none);
    asParent(state, [&](ParentPlatform& platform) { return measureRequests(platform, state, home); });
}
BENCHMARK(requesting)->UseManualTime()->Iterations(10)->Unit(benchmark::kMillisecond);

} // namespace
