// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dispatch/Realm.h"
#include "platform/dispatch/Signal.h"
#include "platform/lmn/LMNLog.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <memory>
#include <string>

namespace lmn {

/// Writes the log to a file descriptor as "<UTC date> <level> <text>", from a queue of its own, so that a
/// reader that stalls holds up nobody who logs. At most `capacity` lines wait; further ones are lost, and
/// their number is written as a line of level 4 when there is room again.
///
/// Built by the composition root; its destructor writes what waits, for at most a second if nobody reads.
class LMNLogWriter final : public LMNLogTarget {
  public:
    static constexpr std::size_t capacity = 2048;    // lines; a power of two
    static constexpr std::size_t inlineLength = 440; // bytes of a line that cost no allocation

    /// `descriptor` is borrowed.
    LMNLogWriter(dispatch::Realm& realm, int descriptor);
    ~LMNLogWriter() override;

    void write(LMNLogLevel level, std::string_view text) noexcept override;

    /// Writes what waits, for at most a second if nobody reads; for whoever ends the process at once. What is
    /// logged later may be lost. Not from the log's queue.
    void finish();

  private:
    /// One place of the ring. `turn` says whose turn it is: the writer's of round r at 2r, the reader's at
    /// 2r + 1.
    struct Line {
        std::atomic<std::uint64_t> turn{0};
        dispatch::Date date;
        LMNLogLevel level = 0;
        std::size_t length = 0;
        std::array<char, inlineLength> text{};
        std::unique_ptr<std::string> longText;
    };

    void drain();
    void put(dispatch::Date date, LMNLogLevel level, std::string_view text);
    bool waitForReader();
    void putLostCount();

    const dispatch::Clock& clock_;
    const int descriptor_;
    const std::unique_ptr<std::array<Line, capacity>> ring_;
    std::atomic<std::uint64_t> writeIndex_{0}; // claimed by whoever logs
    std::uint64_t readIndex_ = 0;              // of the log queue
    std::atomic<std::uint64_t> lost_{0};       // counted by whoever logs, taken by the log queue
    std::atomic<bool> closing_{false};         // set by the destructor, read by the log queue
    bool abandoned_ = false;                   // of the log queue: closing, and nobody reads
    std::unique_ptr<dispatch::Queue> queue_;
    dispatch::Signal arrived_;
};

} // namespace lmn
