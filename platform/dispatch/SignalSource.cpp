// SPDX-License-Identifier: MIT
#include "platform/dispatch/SignalSource.h"

#include <boost/asio/signal_set.hpp>

#include <utility>

namespace dispatch {

class SignalSource::State : public std::enable_shared_from_this<State> {
  public:
    State(Queue& queue, int signal, std::function<void()> handler)
        : queue_(queue), handler_(std::move(handler)), signals_(queue.ioContext(), signal) {}

    void wait() {
        signals_.async_wait([self = shared_from_this()](const boost::system::error_code& error, int) {
            if (!error) {
                self->queue_.async([self] { self->serve(); });
            }
        });
    }

    void cancel() {
        isWanted_ = false;
        signals_.cancel();
    }

  private:
    void serve() {
        if (isWanted_) {
            wait();
            handler_();
        }
    }

    Queue& queue_;
    const std::function<void()> handler_;
    boost::asio::signal_set signals_;
    bool isWanted_ = true;
};

SignalSource::SignalSource(Queue& queue, int signal, std::function<void()> handler)
    : state_(std::make_shared<State>(queue, signal, std::move(handler))) {
    state_->wait();
}

SignalSource::~SignalSource() { state_->cancel(); }

} // namespace dispatch
