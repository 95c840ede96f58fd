// SPDX-License-Identifier: MIT
#include "bench/ProcessFigures.h"

#include <fmt/format.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string_view>

namespace bench {
namespace {

using std::filesystem::path;

/// The first line that begins with `key`, without it; empty where there is none.
std::string valueOf(const path& file, std::string_view key) {
    std::ifstream lines(file);
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with(key)) {
            return line.substr(key.size());
        }
    }
    return {};
}

double numberOf(const path& file, std::string_view key) {
    std::istringstream value(valueOf(file, key));
    double number = 0;
    value >> number;
    return number;
}

} // namespace

ProcessFigures ProcessFigures::of(pid_t process) {
    const path directory = fmt::format("/proc/{}", process);
    ProcessFigures figures{.resident = numberOf(directory / "status", "VmRSS:"),
                           .unshared = numberOf(directory / "smaps_rollup", "Private_Clean:") +
                                       numberOf(directory / "smaps_rollup", "Private_Dirty:"),
                           .threads = {}};
    for (const auto& task : std::filesystem::directory_iterator(directory / "task")) {
        Thread& thread = figures.threads[valueOf(task.path() / "comm", "")];
        thread.cpu += numberOf(task.path() / "schedstat", "") * 1e-9;
        thread.wakeups += numberOf(task.path() / "status", "voluntary_ctxt_switches:");
    }
    return figures;
}

ProcessFigures::Thread ProcessFigures::total() const {
    Thread sum;
    for (const auto& [name, thread] : threads) {
        sum.cpu += thread.cpu;
        sum.wakeups += thread.wakeups;
    }
    return sum;
}

} // namespace bench
