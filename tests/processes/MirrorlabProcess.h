// SPDX-License-Identifier: MIT
#pragma once

#include "tests/platform/foundation/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <boost/json/value.hpp>

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include <sys/types.h>

namespace mirrorlab::test {

/// How a process ended.
struct Ending {
    int status = -1; // its exit status, or 128 and the signal that killed it
    std::string output;
    std::string errors;
    std::int64_t peakMemory = 0; // resident, bytes
};

/// A running `mirrorlab`; killed by the destructor if it still runs. One thread.
class MirrorlabProcess {
  public:
    /// `folder` gets what it prints; `temporary` is where its temporary files go, and those of its players.
    MirrorlabProcess(const std::vector<std::string>& arguments, const std::filesystem::path& folder,
                     const std::filesystem::path& temporary);
    ~MirrorlabProcess();
    MirrorlabProcess(const MirrorlabProcess&) = delete;
    MirrorlabProcess& operator=(const MirrorlabProcess&) = delete;

    pid_t pid() const { return pid_; }

    /// Waits for its end. One that takes longer than `limit` fails the test and is killed.
    Ending end(std::chrono::seconds limit);

  private:
    std::filesystem::path folder_;
    pid_t pid_ = -1;
};

/// Whether a child, or one adopted, ends within this time. It is not reaped.
bool endsWithin(pid_t process, std::chrono::milliseconds limit);

/// The children of a process, those of all its threads.
std::vector<pid_t> childrenOf(pid_t process);

/// Writes a sound of so many self-describing frames (see `describe`).
void writeDescribedSound(const std::filesystem::path& path, int frames);

/// Runs of the program in folders of the test's own. The test adopts whatever processes are orphaned, so that
/// none can be left behind unnoticed.
class MirrorlabTest : public ::testing::Test {
  public:
    MirrorlabTest();
    ~MirrorlabTest() override;

  protected:
    /// Runs it to its end and makes sure that nothing but its output is left.
    Ending run(const std::vector<std::string>& arguments);

    /// "run", the sound, the output folder, and what is added.
    std::vector<std::string> runOf(const std::filesystem::path& sound,
                                   const std::vector<std::string>& added = {}) const;

    void expectNothingLeft() const;

    std::filesystem::path file(const std::string& name) const { return root_ / name; }
    std::filesystem::path output() const { return root_ / "output"; }
    std::filesystem::path temporary() const { return root_ / "temporary"; }
    boost::json::value json(const std::string& name) const;

    /// Beyond any run of these tests, also on a busy machine and with sanitizers.
    static constexpr std::chrono::seconds patience{50};

  private:
    const foundation::TemporaryDirectory root_;
};

} // namespace mirrorlab::test
