// SPDX-License-Identifier: MIT
// A parent application whose user cannot make up his mind: starts and ends job after job, and waits.
#include "orbctl/job/Job.h"
#include "orbctl/job/ParentPlatform.h"
#include "orbctl/job/ServiceProcess.h"

#include "platform/airplay/embedded/ReceiversFile.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <span>

namespace {

using orbctl::Job;

constexpr auto endInterval = std::chrono::milliseconds(2);

/// Starts one job, ends it as soon as its target is routed, and waits for its end.
dispatch::Task<> runJob(orbctl::ParentPlatform& platform, const orbctl::ReceiverList& receivers) {
    Job::Options options{.target = receivers.targets().front(),
                         .volume = {},
                         .service = orbctl::ServiceProcess::standardProgram(),
                         .receiversFile = receivers.file(),
                         .promptSocket = {}};
    Job job(platform, std::move(options),
            {.changed = [](const Job&) {}, .logged = [](const Job&, const auto&) {}});
    co_await job.start();
    if (job.failure()) {
        throw std::runtime_error(job.failure()->text);
    }
    job.terminate();
    while (!job.hasEnded()) {
        co_await dispatch::sleepFor(endInterval);
    }
}

/// Prints a line for each job; then waits for the end of its standard input, so that it can be looked at.
dispatch::Task<int> runJobs(orbctl::ParentPlatform& platform, int count) {
    const orbctl::ReceiverList receivers(airplay::ReceiversFile::standardPath());
    for (int done = 1; done <= count; ++done) {
        co_await runJob(platform, receivers);
        fmt::print("{}\n", done);
        std::fflush(stdout);
    }
    char byte = 0;
    static_cast<void>(::read(STDIN_FILENO, &byte, 1));
    co_return 0;
}

} // namespace

/// Its argument is the number of jobs; they play to the first receiver of the receivers file.
int main(int argc, char** argv) {
    const std::span arguments(argv, static_cast<std::size_t>(argc));
    const int count = arguments.size() > 1 ? static_cast<int>(std::strtol(arguments[1], nullptr, 10)) : 1;
    try {
        return orbctl::onParentPlatform(
            [count](orbctl::ParentPlatform& platform) { return runJobs(platform, count); });
    } catch (const std::exception& error) {
        fmt::print(stderr, "JobSeries: {}\n", error.what());
        return EXIT_FAILURE;
    }
}
