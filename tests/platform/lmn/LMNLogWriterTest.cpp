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
#include <charconv>
#include <sstream>
#include <thread>

namespace lmn {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::StartsWith;

struct Pipe {
    Pipe() {
        std::array<int, 2> ends{};
        EXPECT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
        reading = foundation::FileDescriptor(ends[0]);
        writing = foundation::FileDescriptor(ends[1]);
    }

    /// Everything up to the closing of the other end.
    std::string readToEnd() const {
        std::string text;
        std::array<char, 4096> bytes{};
        for (ssize_t count = 0; (count = ::read(reading.get(), bytes.data(), bytes.size())) > 0;) {
            text.append(bytes.data(), static_cast<std::size_t>(count));
        }
        return text;
    }

    foundation::FileDescriptor reading;
    foundation::FileDescriptor writing;
};

/// Reads a pipe beside the test.
class Reader {
  public:
    explicit Reader(Pipe& pipe) : pipe_(pipe), thread_([this] { text_ = pipe_.readToEnd(); }) {}
    ~Reader() {
        if (thread_.joinable()) {
            finish();
        }
    }

    /// Closes the writing end; what was read.
    const std::string& finish() {
        pipe_.writing.reset();
        thread_.join();
        return text_;
    }

  private:
    Pipe& pipe_;
    std::string text_;
    std::thread thread_;
};

/// What follows date and level, by line; lines of `lost` are summed up instead.
struct Log {
    explicit Log(const std::string& text) {
        std::istringstream stream(text);
        for (std::string line; std::getline(stream, line);) {
            const std::string::size_type level = line.find("Z ");
            EXPECT_EQ(level, 26U) << line;
            const std::string content = line.size() > 30 ? line.substr(30) : "";
            if (content.starts_with("LMNLog: ") && line.substr(28, 1) == "4") {
                lost += std::stoull(content.substr(8));
                ++lostLines;
            } else {
                lines.push_back(content);
            }
        }
    }

    std::vector<std::string> lines;
    std::uint64_t lost = 0;
    int lostLines = 0;
};

TEST(LMNLogWriterTest, aLineIsDateLevelAndTextUnchanged) {
    dispatch::VirtualRealm realm;
    Pipe pipe;
    {
        LMNLogWriter writer(realm, pipe.writing.get());
        writer.write(1, "{} %s ü\n");
        realm.settle();
        realm.advanceBy(1h + 2s + 34567us);
        writer.write(4, "flushed by the closing\n");
    }
    pipe.writing.reset();
    EXPECT_EQ(
        pipe.readToEnd(),
        "2026-01-01T00:00:00.000000Z 1 {} %s ü\n2026-01-01T01:00:02.034567Z 4 flushed by the closing\n");
}

TEST(LMNLogWriterTest, linesOfEveryLengthArriveWhole) {
    dispatch::RealRealm realm;
    Pipe pipe;
    std::vector<std::string> expected;
    Reader reader(pipe);
    {
        LMNLogWriter writer(realm, pipe.writing.get());
        for (const std::size_t length :
             {0UL, LMNLogWriter::inlineLength - 1, LMNLogWriter::inlineLength, 4096UL, 300000UL}) {
            expected.emplace_back(length, static_cast<char>('a' + expected.size()));
            writer.write(0, expected.back() + "\n");
        }
    }
    EXPECT_EQ(Log(reader.finish()).lines, expected);
}

TEST(LMNLogWriterTest, linesOfSeveralThreadsKeepTheirOrderAndEveryLossIsCounted) {
    constexpr int threads = 4;
    constexpr int linesEach = 5000;
    dispatch::RealRealm realm;
    Pipe pipe;
    Reader reader(pipe);
    {
        LMNLogWriter writer(realm, pipe.writing.get());
        const LMNLogInstallation installation(writer);
        std::vector<std::thread> writers;
        for (int thread = 0; thread < threads; ++thread) {
            writers.emplace_back([thread] {
                for (int line = 0; line < linesEach; ++line) {
                    LMNLog(1, fmt::format("{} {} end\n", thread, line));
                }
            });
        }
        for (std::thread& thread : writers) {
            thread.join();
        }
    }
    const Log log(reader.finish());
    std::array<int, threads> last{-1, -1, -1, -1};
    int disorders = 0;
    for (const std::string& line : log.lines) {
        int thread = -1;
        int number = -1;
        std::string end;
        std::istringstream(line) >> thread >> number >> end;
        ASSERT_TRUE(thread >= 0 && thread < threads && end == "end") << line;
        disorders += number > std::exchange(last[static_cast<std::size_t>(thread)], number) ? 0 : 1;
    }
    EXPECT_EQ(disorders, 0);
    EXPECT_EQ(log.lines.size() + log.lost, std::size_t{threads} * linesEach);
}

TEST(LMNLogWriterTest, aReaderThatStallsDelaysNobodyAndTheLostLinesAreTold) {
    constexpr std::size_t total = 3 * LMNLogWriter::capacity;
    const std::string text(400, 'x');
    dispatch::RealRealm realm;
    Pipe pipe;
    auto writer = std::make_unique<LMNLogWriter>(realm, pipe.writing.get());
    for (std::size_t line = 0; line < total; ++line) {
        writer->write(0, text + "\n");
    }
    // Far more than pipe and ring hold was taken without anybody reading. Now somebody does.
    Reader reader(pipe);
    writer.reset();
    const Log log(reader.finish());
    for (const std::string& line : log.lines) {
        ASSERT_EQ(line, text);
    }
    EXPECT_GE(log.lines.size(), LMNLogWriter::capacity);
    EXPECT_GE(log.lost, total - 2 * LMNLogWriter::capacity);
    EXPECT_EQ(log.lines.size() + log.lost, total);
    EXPECT_GE(log.lostLines, 1);
}

TEST(LMNLogWriterTest, closingWaitsForAStalledReaderForASecondAndNoLonger) {
    dispatch::RealRealm realm;
    Pipe pipe;
    auto writer = std::make_unique<LMNLogWriter>(realm, pipe.writing.get());
    for (std::size_t line = 0; line < LMNLogWriter::capacity; ++line) {
        writer->write(0, std::string(400, 'x') + "\n");
    }
    const dispatch::HostTime begin = realm.clock().now();
    writer.reset();
    const dispatch::Nanoseconds taken = realm.clock().now() - begin;
    EXPECT_GE(taken, 900ms);
    EXPECT_LE(taken, 2500ms);
}

TEST(LMNLogWriterTest, aLineOfUsualLengthCostsItsWriterNoAllocation) {
    dispatch::RealRealm realm;
    Pipe pipe;
    Reader reader(pipe);
    {
        LMNLogWriter writer(realm, pipe.writing.get());
        const std::string line(LMNLogWriter::inlineLength, 'x');
        writer.write(0, line);
        const std::uint64_t before = support::allocationsOfThisThread();
        for (int count = 0; count < 100; ++count) {
            writer.write(0, line);
        }
        EXPECT_EQ(support::allocationsOfThisThread(), before);
        writer.write(0, line + "\n");
        EXPECT_GT(support::allocationsOfThisThread(), before);
    }
}

} // namespace
} // namespace lmn
