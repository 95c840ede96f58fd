// SPDX-License-Identifier: MIT
#include "platform/lmn/LMNLogWriter.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <ctime>

namespace lmn {
namespace {

/// How long one look at a reader that does not read lasts, and how many of them a closing log affords.
constexpr int readerPollMilliseconds = 100;
constexpr int closingPolls = 10;

std::string stamp(dispatch::Date date) {
    const auto seconds = std::chrono::floor<std::chrono::seconds>(date);
    const auto micros = std::chrono::duration_cast<std::chrono::microseconds>(date - seconds).count();
    const std::time_t time =
        std::chrono::duration_cast<std::chrono::seconds>(seconds.time_since_epoch()).count();
    return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:06}Z", fmt::gmtime(time), micros);
}

} // namespace

LMNLogWriter::LMNLogWriter(dispatch::Realm& realm, int descriptor)
    : clock_(realm.clock()),
      descriptor_(descriptor),
      ring_(std::make_unique<std::array<Line, capacity>>()),
      queue_(realm.makeQueue("lmn.log")),
      arrived_(*queue_, [this] { drain(); }) {}

LMNLogWriter::~LMNLogWriter() { finish(); }

void LMNLogWriter::finish() {
    closing_.store(true);
    queue_->sync([this] { drain(); });
}

void LMNLogWriter::write(LMNLogLevel level, std::string_view text) noexcept {
    std::uint64_t index = writeIndex_.load(std::memory_order_relaxed);
    Line* line = nullptr;
    for (;;) {
        line = &(*ring_)[index % capacity];
        const std::uint64_t freeTurn = 2 * (index / capacity);
        const std::uint64_t turn = line->turn.load(std::memory_order_acquire);
        if (turn == freeTurn) {
            if (writeIndex_.compare_exchange_weak(index, index + 1, std::memory_order_relaxed))
                break;
        } else if (turn < freeTurn) { // still waits to be written out from the round before: full
            lost_.fetch_add(1);
            arrived_.raise();
            return;
        } else {
            index = writeIndex_.load(std::memory_order_relaxed);
        }
    }
    line->date = clock_.wallNow();
    line->level = level;
    line->length = text.size();
    if (text.size() <= inlineLength)
        std::ranges::copy(text, line->text.begin());
    else
        line->longText = std::make_unique<std::string>(text);
    line->turn.store(2 * (index / capacity) + 1, std::memory_order_release);
    arrived_.raise();
}

void LMNLogWriter::drain() {
    for (;;) {
        Line& line = (*ring_)[readIndex_ % capacity];
        const std::uint64_t round = readIndex_ / capacity;
        if (line.turn.load(std::memory_order_acquire) != 2 * round + 1)
            break;
        put(line.date, line.level,
            line.longText ? std::string_view(*line.longText)
                          : std::string_view(line.text.data(), line.length));
        line.longText.reset();
        line.turn.store(2 * (round + 1), std::memory_order_release);
        ++readIndex_;
    }
    putLostCount();
}

void LMNLogWriter::putLostCount() {
    if (const std::uint64_t lost = lost_.exchange(0); lost > 0)
        put(clock_.wallNow(), 4,
            fmt::format("LMNLog: {} lines lost, the log was not read fast enough\n", lost));
}

void LMNLogWriter::put(dispatch::Date date, LMNLogLevel level, std::string_view text) {
    const std::string line = fmt::format("{} {} {}", stamp(date), level, text);
    std::size_t written = 0;
    while (written < line.size() && waitForReader()) {
        // What a pipe that polls writable takes without blocking.
        const std::size_t piece = std::min<std::size_t>(line.size() - written, PIPE_BUF);
        const ssize_t count = ::write(descriptor_, line.data() + written, piece);
        if (count < 0 && errno != EINTR && errno != EAGAIN)
            return; // nobody will ever read this; there is no place left to say so
        written += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
    }
}

bool LMNLogWriter::waitForReader() {
    pollfd poll{.fd = descriptor_, .events = POLLOUT, .revents = 0};
    for (int polls = 0; !abandoned_ && ::poll(&poll, 1, readerPollMilliseconds) <= 0; ++polls)
        abandoned_ = closing_.load() && polls >= closingPolls;
    return !abandoned_;
}

} // namespace lmn
