// SPDX-License-Identifier: MIT
#pragma once

#include "platform/foundation/TemporaryDirectory.h"
#include "tests/support/PeerProcess.h"

#include <gmock/gmock.h>
#include <boost/json/object.hpp>

#include <string>
#include <vector>

namespace orbctl::test {

/// Runs `orbctl` with the real service, in directories of the test's own.
class OrbctlTest : public testing::Test {
  protected:
    /// Frames of `tone.wav`, each different from all others.
    static constexpr int toneFrames = 44100;

    OrbctlTest();

    /// Starts `orbctl`.
    support::PeerProcess start(const std::vector<std::string>& arguments) const;

    /// Runs it to its end; its exit status.
    int run(const std::vector<std::string>& arguments) const { return start(arguments).end(); }

    /// The next event with this name, of those that `orbctl play --json` prints; the others go by.
    static boost::json::object eventOf(support::PeerProcess& process, const std::string& name);

    /// Whether the file, from its first frame with sound on, holds the whole tone and then silence.
    bool holdsTone(const std::string& recording) const;

    /// Nothing of a job is left: no device of its own, no port, no prompt socket, no entry of the board.
    void expectNothingLeft(const std::vector<std::string>& folders = {"jobs", "prompts", "ports"}) const;

    std::string file(const std::string& name) const { return directory / name; }

    /// What `orbctl` finds in its environment.
    std::vector<std::string> environment() const;

    const foundation::TemporaryDirectory directory;
};

} // namespace orbctl::test
