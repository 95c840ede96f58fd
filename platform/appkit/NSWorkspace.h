// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace appkit {

struct NSRunningApplication {
    std::string bundleIdentifier;
    pid_t processIdentifier = 0;

    bool operator==(const NSRunningApplication&) const = default;
};

/// The applications that the user has running. Made by the composition root; main thread.
class NSWorkspace {
  public:
    /// In the order of their launch.
    const std::vector<NSRunningApplication>& runningApplications() const { return applications_; }

    void launched(NSRunningApplication application);

    /// Of a process that is not there, nothing is done.
    void terminated(pid_t process);

  private:
    std::vector<NSRunningApplication> applications_;
};

} // namespace appkit
