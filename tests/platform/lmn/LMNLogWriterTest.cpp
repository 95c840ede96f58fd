// SPDX-License-Identifier: MIT
#include "platform/dispatch/real/RealRealm.h"
#include "platform/dispatch/virtual/VirtualRealm.h"
#include "platform/foundation/FileDescriptor.h"
#include "platform/lmn/LMNLogWriter.h"
#include "tests/support/AllocationCounter.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <fcntl.h>

#include <array>
#include <atomic>
#include <sstream>
#include <thread>

namespace lmn {
namespace {

using namespace std::chrono_literals;

/// Where a log goes, and what somebody beside the test reads there.
class Pipe {
  public:
    Pipe() {
        std::array<int, 2> ends{};
        EXPECT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
        reading_ = foundation::FileDescriptor(ends[0]);
        writing_ = foundation::FileDescriptor(ends[1]);
    }

    int writingEnd() const { return writing_.get(); }

    void beginReading() {
        reader_ = std::thread([this] {
            std::array<char, 4096> bytes{};
            for (ssize_t count = 0; (count = ::read(reading_.get(), bytes.data(), bytes.size())) > 0;)
                text_.append(bytes.data(), static_cast<std::size_t>(count));
        });
    }

    /// Closes the writing end; all that was read.
    const std::string& finish() {
        writing_.reset();
        reader_.join();
        return text_;
    }

  private:
    foundation::FileDescriptor reading_;
    foundation::FileDescriptor writing_;
    std::string text_;
    std::thread reader_;
};

/// What follows date and level, by line; lines of `lost` are summed up instead.
struct Log {
    explicit Log(const std::string& text) {
        std::istringstream stream(text);
        for (std::string line; std::getline(stream, line);) {
            EXPECT_EQ(line.find("Z "), 26U) << line;
            const std::string content = line.size() > 30 ? line.substr(30) : "";
            if (content.starts_with("LMNLog: ") && line[28] == '4')
                lost += std::stoull(content.substr(8));
            else
                lines.push_back(content);
        }
    }

    std::vector<std::string> lines;
    std::uint64_t lost = 0;
};

TEST(LMNLogWriterTest, aLineIsDateLevelAndTextUnchangedAndFlushedByTheClosing) {
    dispatch::VirtualRealm realm;
    Pipe pipe;
    {
        LMNLogWriter writer(realm, pipe.writingEnd());
        writer.write(1, "{} %s ü\n");
        realm.settle();
        realm.advanceBy(1h + 2s + 34567us);
        writer.write(4, "flushed\n");
    }
    pipe.beginReading();
    EXPECT_EQ(pipe.finish(),
              "2026-01-01T00:00:00.000000Z 1 {} %s ü\n2026-01-01T01:00:02.034567Z 4 flushed\n");
}

TEST(LMNLogWriterTest, aReaderThatStallsDelaysNoThreadNoLineIsTornAndEveryLostOneIsCounted) {
    constexpr int threads = 4;
    constexpr int linesEach = LMNLogWriter::capacity;
    constexpr auto total = std::uint64_t{threads} * linesEach;
    // Far more than pipe and ring hold, of lines around the length that is usual and beyond it.
    const std::array<std::string, threads> texts{std::string(400, 'a'), std::string(430, 'b'),
                                                 std::string(440, 'c'), std::string(5000, 'd')};
    dispatch::RealRealm realm;
    Pipe pipe;
    auto writer = std::make_unique<LMNLogWriter>(realm, pipe.writingEnd());
    std::atomic<std::uint64_t> allocated = 0;
    std::vector<std::thread> writers;
    for (int thread = 0; thread < threads; ++thread)
        writers.emplace_back([&, thread] {
            for (int number = 0; number < linesEach; ++number) {
                const auto line =
                    fmt::format("{} {} {}\n", thread, number, texts.at(static_cast<std::size_t>(thread)));
                const std::uint64_t before = support::allocationsOfThisThread();
                writer->write(1, line);
                if (line.size() <= LMNLogWriter::inlineLength)
                    allocated += support::allocationsOfThisThread() - before;
            }
        });
    for (std::thread& thread : writers)
        thread.join();
    pipe.beginReading(); // only now
    writer.reset();
    const Log log(pipe.finish());
    std::array<int, threads> last{-1, -1, -1, -1};
    for (const std::string& line : log.lines) {
        int thread = -1;
        int number = -1;
        std::string end;
        std::istringstream(line) >> thread >> number >> end;
        ASSERT_TRUE(thread >= 0 && thread < threads && end == texts.at(static_cast<std::size_t>(thread)))
            << line;
        ASSERT_GT(number, std::exchange(last[static_cast<std::size_t>(thread)], number));
    }
    EXPECT_GE(log.lines.size(), LMNLogWriter::capacity);
    EXPECT_GE(log.lost, total - 2 * LMNLogWriter::capacity);
    EXPECT_EQ(log.lines.size() + log.lost, total);
    EXPECT_EQ(allocated, 0U) << "the usual lines are written on the audio path";
}

} // namespace
} // namespace lmn
