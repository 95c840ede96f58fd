// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

#include <map>
#include <string>

namespace bench {

/// What the kernel counts for a running process. A value.
struct ProcessFigures {
    /// Since the thread began.
    struct Thread {
        double cpu = 0;     // s, user and system
        double wakeups = 0; // how often it had gone to sleep by itself
    };

    double resident = 0;                   // KiB
    double unshared = 0;                   // KiB of it that are this process's alone
    std::map<std::string, Thread> threads; // by name; those of one name as one

    static ProcessFigures of(pid_t process);

    /// Of all threads that there are.
    Thread total() const;
};

} // namespace bench
