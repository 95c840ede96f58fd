// SPDX-License-Identifier: MIT
#pragma once

#include "platform/foundation/FileDescriptor.h"

#include <chrono>
#include <string>
#include <vector>

#include <sys/types.h>

namespace support {

/// The other process of a test: a program that is heard by the lines of its standard output; standard error
/// is the test's. Killed and reaped by the destructor if it still runs. What goes wrong fails the test. One
/// thread.
class PeerProcess {
  public:
    /// Beyond whatever a peer has to do, also on a busy machine and with sanitizers.
    static constexpr std::chrono::seconds patience{50};

    /// `command` is the path of the program and its arguments; `environment` has NAME=VALUE, before what this
    /// process has of other names.
    explicit PeerProcess(std::vector<std::string> command, std::vector<std::string> environment = {});
    ~PeerProcess();
    PeerProcess(const PeerProcess&) = delete;
    PeerProcess& operator=(const PeerProcess&) = delete;

    /// Its next line, for which this waits; empty when none came.
    std::string line();

    pid_t pid() const { return process_; }

    /// SIGKILL. It is dead, but perhaps not gone yet, when this returns.
    void kill();

    /// Waits for its end, and kills it when that does not come; its exit status, or 128 and the signal that
    /// killed it. Its input stays open.
    int end();

    void signal(int number);

  private:
    foundation::FileDescriptor channel_; // its standard input and output
    std::string received_;               // what came after the last line
    pid_t process_ = -1;
};

/// Whether a child, or one adopted, ends within this time. It is not reaped.
bool endsWithin(pid_t process, std::chrono::milliseconds limit);

} // namespace support
