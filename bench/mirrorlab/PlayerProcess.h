// SPDX-License-Identifier: MIT
#pragma once

#include "bench/mirrorlab/LabOptions.h"

#include "platform/dispatch/Queue.h"

#include <boost/asio/posix/stream_descriptor.hpp>

#include <functional>
#include <optional>

#include <sys/types.h>

namespace mirrorlab {

/// This program once more, as a player. The device is captured without the sound of the capturing process, so
/// the player has to be another one. On the main queue; ended by the destructor.
class PlayerProcess {
  public:
    /// `ended` is called on the queue with the exit status. Throws std::system_error.
    PlayerProcess(dispatch::Queue& queue, const PlayOptions& options, std::function<void(int status)> ended);
    ~PlayerProcess();
    PlayerProcess(const PlayerProcess&) = delete;
    PlayerProcess& operator=(const PlayerProcess&) = delete;

  private:
    void watch(dispatch::Queue& queue, std::function<void(int)> ended);
    int reap();

    pid_t pid_ = -1;
    std::optional<boost::asio::posix::stream_descriptor> watch_;
};

} // namespace mirrorlab
