// SPDX-License-Identifier: MIT
#pragma once

#include "platform/foundation/TemporaryDirectory.h"
#include "tests/support/PeerProcess.h"

#include <gtest/gtest.h>
#include <boost/json/value.hpp>

#include <string>
#include <vector>

namespace mirrorlab::test {

/// How a process ended.
struct Ending {
    int status = -1; // its exit status, or 128 and the signal that killed it
    std::string output;
    std::string errors;
};

/// Runs of the program in folders of the test's own. The test adopts whatever processes are orphaned, so that
/// none can be left behind unnoticed.
class MirrorlabTest : public ::testing::Test {
  public:
    MirrorlabTest();

  protected:
    /// Waits for its end, and makes sure that nothing but its output is left.
    Ending run(std::vector<std::string> arguments) const;

    /// "run", the sound, the output folder, and what is added.
    std::vector<std::string> runOf(const std::string& sound,
                                   const std::vector<std::string>& added = {}) const;

    std::string file(const std::string& name) const { return root_ / name; }
    std::string output() const { return root_ / "output"; }
    boost::json::value json(const std::string& name) const;

  private:
    const foundation::TemporaryDirectory root_;
};

} // namespace mirrorlab::test
