// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dispatch/Queue.h"
#include "platform/foundation/FileDescriptor.h"

#include <functional>
#include <memory>

namespace foundation {

/// Owns a descriptor and calls back on a queue whenever there is something to read from it. The call reads
/// what it likes, without blocking; what it leaves brings the next call.
/// Made on any thread. Destroyed on the queue, or while the queue is not running: no call begins afterwards.
class DescriptorWatch {
  public:
    /// `queue` outlives the watch.
    DescriptorWatch(dispatch::Queue& queue, FileDescriptor descriptor,
                    std::function<void(int descriptor)> readable);
    ~DescriptorWatch();
    DescriptorWatch(const DescriptorWatch&) = delete;
    DescriptorWatch& operator=(const DescriptorWatch&) = delete;

  private:
    class State;
    const std::shared_ptr<State> state_;
};

} // namespace foundation
