// SPDX-License-Identifier: MIT
#include "platform/foundation/DescriptorWatch.h"

#include <boost/asio/posix/stream_descriptor.hpp>

#include <atomic>
#include <utility>

namespace foundation {

/// Kept alive by its own waiting. Everything but the constructor and `ended` is of the queue.
class DescriptorWatch::State : public std::enable_shared_from_this<State> {
  public:
    State(dispatch::Queue& queue, FileDescriptor descriptor, std::function<void(int)> readable)
        : queue_(queue), readable_(std::move(readable)), descriptor_(queue.ioContext(), descriptor.get()) {
        descriptor.release();
    }

    void wait() {
        if (ended_.load()) {
            return;
        }
        descriptor_.async_wait(boost::asio::posix::descriptor_base::wait_read,
                               [self = shared_from_this()](const boost::system::error_code& error) {
                                   if (!error) {
                                       self->queue_.async([self] { self->serve(); });
                                   }
                               });
    }

    void end() {
        ended_.store(true);
        if (queue_.isCurrent()) {
            close();
        } else {
            queue_.async([self = shared_from_this()] { self->close(); });
        }
    }

  private:
    void serve() {
        if (ended_.load()) {
            return;
        }
        readable_(descriptor_.native_handle());
        wait();
    }

    void close() {
        boost::system::error_code ignored;
        descriptor_.close(ignored); // whatever it says, the descriptor is gone
    }

    dispatch::Queue& queue_;
    const std::function<void(int)> readable_;
    boost::asio::posix::stream_descriptor descriptor_;
    std::atomic<bool> ended_{false}; // written by the owner of the watch, read by the queue
};

DescriptorWatch::DescriptorWatch(dispatch::Queue& queue, FileDescriptor descriptor,
                                 std::function<void(int descriptor)> readable)
    : state_(std::make_shared<State>(queue, std::move(descriptor), std::move(readable))) {
    queue.async([state = state_] { state->wait(); });
}

DescriptorWatch::~DescriptorWatch() { state_->end(); }

} // namespace foundation
