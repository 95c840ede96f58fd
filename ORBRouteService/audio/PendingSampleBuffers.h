// SPDX-License-Identifier: MIT
#pragma once

#include "platform/coremedia/CMSampleBuffer.h"

#include <boost/circular_buffer.hpp>

#include <cstddef>
#include <memory>

namespace orb {

/// Chunks that wait for the renderer, oldest first. Its memory is taken at creation; the mirror device guards
/// it with its lock.
class PendingSampleBuffers {
  public:
    using Buffer = std::shared_ptr<const coremedia::CMSampleBuffer>;

    /// More than the renderer takes at the longest latency: only a feeding loop that stands still fills it.
    static constexpr std::size_t capacity = 512;

    PendingSampleBuffers() : buffers_(capacity) {}

    /// False when there was no room and the oldest had to go.
    bool append(Buffer buffer) {
        const bool room = !buffers_.full();
        buffers_.push_back(std::move(buffer));
        return room;
    }

    bool isEmpty() const { return buffers_.empty(); }
    std::size_t count() const { return buffers_.size(); }
    const Buffer& oldest() const { return buffers_.front(); }

    Buffer takeOldest() {
        Buffer buffer = std::move(buffers_.front());
        buffers_.pop_front();
        return buffer;
    }

    void empty() { buffers_.clear(); }

  private:
    boost::circular_buffer<Buffer> buffers_;
};

} // namespace orb
