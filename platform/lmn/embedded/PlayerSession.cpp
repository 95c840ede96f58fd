// SPDX-License-Identifier: MIT
#include "platform/lmn/embedded/PlayerSession.h"

#include "platform/dispatch/Task.h"
#include "platform/lmn/LMNLog.h"

#include <fmt/format.h>
#include <boost/asio/bind_executor.hpp>
#include <boost/asio/buffer.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/write.hpp>

#include <cstring>
#include <utility>

namespace lmn {
namespace {

using boost::system::error_code;

/// Frames taken off the socket at once.
constexpr std::size_t framesAtOnce = PlayerVoice::refill;

} // namespace

PlayerSession::PlayerSession(dispatch::Realm& realm, dispatch::Queue& queue,
                             std::weak_ptr<PlayerRoster> roster, Socket socket)
    : realm_(realm),
      queue_(queue),
      roster_(std::move(roster)),
      socket_(std::move(socket)),
      helloTimer_(queue, [this] { refuse("no hello within 5 s"); }) {}

void PlayerSession::start(std::int32_t pid) {
    process_.pid = pid;
    helloTimer_.armAfter(helloTimeout);
    readHello();
}

void PlayerSession::close() {
    helloTimer_.cancel();
    debt_.reset();
    error_code ignored;
    socket_.close(ignored);
}

void PlayerSession::readHello() {
    boost::asio::async_read_until(
        socket_, line_, '\n',
        boost::asio::bind_executor(dispatch::QueueExecutor(queue_),
                                   [self = shared_from_this()](const error_code& error, std::size_t length) {
                                       if (self->refused_ || !self->socket_.is_open())
                                           return;
                                       if (error == boost::asio::error::not_found)
                                           return self->refuse("the hello is longer than 4096 bytes");
                                       if (error)
                                           return self->end("left without a hello");
                                       const std::string line(boost::asio::buffers_begin(self->line_.data()),
                                                              boost::asio::buffers_begin(self->line_.data()) +
                                                                  static_cast<std::ptrdiff_t>(length) - 1);
                                       self->line_.consume(length);
                                       self->takeHello(line);
                                   }));
}

void PlayerSession::takeHello(std::string_view line) {
    helloTimer_.cancel();
    const auto roster = roster_.lock();
    if (!roster)
        return refuse("the device is gone");
    try {
        hello_ = decodeHello(line);
    } catch (const PlayerProtocolError& error) {
        return refuse(error.what());
    }
    process_.name = hello_->name;
    voice_ = roster->join(process_, [self = shared_from_this()] { self->samplesWanted(); });
    if (voice_ == nullptr)
        return refuse("the device has as many players as it can mix");
    reader_.emplace(*hello_);
    bytes_.resize(framesAtOnce * hello_->frameSize());
    frames_.resize(framesAtOnce * ServedDevice::channelCount);
    // As much as it may send ahead, so that however late the next period comes, how far the player had got in
    // real time makes no difference.
    debt_ = realm_.awaitOutside(description(), [voice = voice_, roster = roster_] {
        const auto alive = roster.lock();
        return !alive || voice->hasEnded() || !voice->wantsFrames();
    });
    LMNLog(1, fmt::format("{}: connected to {}\n", description(), roster->device()->description()));
    answer({}, [self = shared_from_this()] {
        // What came along with the hello is already sound.
        self->leftOver_ = boost::asio::buffer_copy(boost::asio::buffer(self->bytes_), self->line_.data());
        self->takeSamples(0);
    });
}

void PlayerSession::refuse(std::string_view reason) {
    refused_ = true;
    helloTimer_.cancel();
    LMNLog(4, fmt::format("{}: refused: {}\n", description(), reason));
    answer(reason, [self = shared_from_this()] { self->close(); });
}

void PlayerSession::answer(std::string_view error, std::function<void()> then) {
    answer_ = encodeAnswer(error);
    boost::asio::async_write(socket_, boost::asio::buffer(answer_),
                             boost::asio::bind_executor(dispatch::QueueExecutor(queue_),
                                                        [self = shared_from_this(), then = std::move(then)](
                                                            const error_code& failure, std::size_t) {
                                                            if (failure)
                                                                self->end("left before the answer");
                                                            else
                                                                then();
                                                        }));
}

void PlayerSession::readSamples() {
    const auto roster = roster_.lock();
    if (!roster)
        return close();
    const std::size_t room = std::min(voice_->fifo().space(), framesAtOnce);
    waitsForSpace_ = room < framesAtOnce;
    if (waitsForSpace_)
        return;
    socket_.async_read_some(
        boost::asio::buffer(bytes_.data() + leftOver_, bytes_.size() - leftOver_),
        boost::asio::bind_executor(dispatch::QueueExecutor(queue_),
                                   [self = shared_from_this()](const error_code& error, std::size_t bytes) {
                                       if (error)
                                           self->end("left");
                                       else
                                           self->takeSamples(bytes);
                                   }));
}

void PlayerSession::takeSamples(std::size_t bytes) {
    const auto roster = roster_.lock();
    if (!roster)
        return close();
    const std::size_t total = leftOver_ + bytes;
    const std::size_t frames = total / hello_->frameSize();
    const std::size_t replaced = reader_->convert(bytes_.data(), frames, frames_.data());
    if (replaced > 0 && !std::exchange(rubbishLogged_, true))
        LMNLog(4, fmt::format("{}: sends samples that are no sound; they are silence\n", description()));
    voice_->fifo().write({frames_.data(), frames * ServedDevice::channelCount});
    leftOver_ = total - frames * hello_->frameSize();
    std::memmove(bytes_.data(), bytes_.data() + frames * hello_->frameSize(), leftOver_);
    roster->framesArrived(*voice_);
    readSamples();
}

void PlayerSession::samplesWanted() {
    if (std::exchange(waitsForSpace_, false))
        readSamples();
}

void PlayerSession::end(std::string_view reason) {
    if (!socket_.is_open())
        return;
    close();
    const auto roster = roster_.lock();
    if (!roster || voice_ == nullptr)
        return LMNLog(1, fmt::format("{}: {}\n", description(), reason));
    LMNLog(1, fmt::format("{}: {}{}\n", description(), reason,
                          leftOver_ > 0 ? " in the middle of a frame, which is dropped" : ""));
    voice_->end();
    roster->forget(*voice_);
    roster->framesArrived(*voice_);
}

std::string PlayerSession::description() const {
    return fmt::format("player \"{}\" (process {})", process_.name, process_.pid);
}

} // namespace lmn
