// SPDX-License-Identifier: MIT
#include "ORBRouteService/audio/HTMixQueue.h"

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <map>
#include <numeric>
#include <random>
#include <thread>

namespace orb {
namespace {

using lmn::LMNBuffer;

constexpr double rate = 44100;
constexpr std::uint32_t ringSize = 16384;
constexpr std::uint32_t cycle = 512;

LMNBuffer filled(std::uint32_t frames, float value, std::uint32_t channels = 2, double sampleRate = rate) {
    LMNBuffer buffer(channels, frames, sampleRate);
    std::fill_n(buffer.samples(), std::size_t{frames} * channels, value);
    return buffer;
}

std::vector<float> samplesOf(const LMNBuffer& buffer) {
    return {buffer.samples(), buffer.samples() + std::size_t{buffer.frameCount()} * buffer.channelCount()};
}

/// Reads frames into a buffer that holds ones already, to which a read adds; what it added.
std::vector<float> readFrames(HTMixQueue& queue, std::uint32_t frames) {
    LMNBuffer buffer = filled(frames, 1, queue.channels(), queue.rate());
    queue.read(buffer);
    std::vector<float> samples = samplesOf(buffer);
    for (float& sample : samples)
        sample -= 1;
    return samples;
}

TEST(HTMixQueueTest, buffersOfAnotherFormatOrATimeBeforeZeroChangeNothing) {
    const std::vector<std::pair<LMNBuffer, std::int64_t>> writes{
        {filled(cycle, 1, 2, 48000), 0}, {filled(cycle, 1, 1), 0},         {filled(cycle, 1, 3), 512},
        {filled(cycle, 1), -1},          {filled(cycle, 1), -(1LL << 62)}, {filled(ringSize + 1, 1), 0},
    };
    for (const auto& [buffer, time] : writes) {
        HTMixQueue queue(2, rate, ringSize);
        queue.write(buffer, time);
        EXPECT_FALSE(queue.hasAudio());
        EXPECT_EQ(queue.readLatency(), 0) << "the write cursor moved";
    }
    for (const LMNBuffer& target :
         {filled(cycle, 3, 2, 48000), filled(cycle, 3, 1), filled(0, 3), filled(ringSize + 1, 3)}) {
        HTMixQueue queue(2, rate, ringSize);
        queue.write(filled(cycle, 1), 0);
        LMNBuffer buffer = target;
        queue.read(buffer);
        EXPECT_EQ(samplesOf(buffer), samplesOf(target));
        EXPECT_EQ(queue.getLastReadSampleTime(), -1);
    }
}

TEST(HTMixQueueTest, theNextWriteTimeIsLedBackToTheReadCursorFromBothSides) {
    struct Row {
        std::uint32_t cursor; // 0: nothing was read
        std::int64_t proposed;
        std::int64_t corrected;
    };
    for (const Row& row :
         {Row{600, 1000, 1000}, Row{1200, 1000, 1200}, Row{400, 912, 912}, Row{400, 913, 400},
          Row{400, -7, 400}, Row{0, -5, 0}, Row{0, 511, 511}, Row{0, 512, -1}}) {
        HTMixQueue queue(2, rate, ringSize);
        queue.write(filled(cycle, 0), 0);
        readFrames(queue, row.cursor);
        std::int64_t sampleTime = row.proposed;
        queue.nextWriteSampleTime(512, sampleTime);
        EXPECT_EQ(sampleTime, row.corrected) << row.cursor << ' ' << row.proposed;
    }
}

TEST(HTMixQueueTest, anotherChannelCountOrAResetKeepsOldSoundOrTheSameCountLosesIt) {
    const std::vector<std::pair<std::function<void(HTMixQueue&)>, bool>> operations{
        {[](HTMixQueue& queue) { queue.configure(2); }, true},
        {[](HTMixQueue& queue) { queue.configure(6), queue.configure(2); }, false},
        {[](HTMixQueue& queue) { queue.reset(); }, false},
    };
    for (const auto& [operate, keeps] : operations) {
        HTMixQueue queue(2, rate, ringSize);
        queue.write(filled(2 * cycle, 1), 0);
        readFrames(queue, cycle);
        operate(queue);
        EXPECT_EQ(queue.hasAudio(), keeps);
        EXPECT_EQ(queue.getLastReadSampleTime(), keeps ? 512 : -1);
        EXPECT_EQ(queue.allocatedSize(), 2 * ringSize * 2);
        queue.write(filled(0, 0), 0);
        EXPECT_EQ(readFrames(queue, ringSize)[0], keeps ? 1.0F : 0.0F);
    }
}

TEST(HTMixQueueTest, numbersThatAreOnlyStoredLeadOutsideOfTheStorage) {
    HTMixQueue queue(2, rate, ringSize);
    queue.setAllocatedSize(1LL << 40);
    queue.setChannels(64);
    queue.write(filled(ringSize, 1, 64), ringSize - 1);
    EXPECT_EQ(queue.readLatency(), 0) << "taken although there is no room";
    queue.configure(6);
    queue.write(filled(ringSize, 1, 6), ringSize - 1);
    EXPECT_EQ(readFrames(queue, ringSize), std::vector<float>(6 * ringSize, 1.0F));
}

/// Stereo frames by their place in the ring; whole numbers, so that sums are exact.
class NaiveQueue {
  public:
    explicit NaiveQueue(std::uint32_t size) : size_(size) {}

    void write(const LMNBuffer& buffer, std::int64_t time) {
        const auto samples = samplesOf(buffer);
        for (std::uint32_t frame = 0; frame < buffer.frameCount(); ++frame) {
            auto& sum = frames_[(time + frame) % size_];
            sum[0] += samples[2 * frame];
            sum[1] += samples[2 * frame + 1];
        }
        armed_ = armed_ || time == 0 || std::ranges::any_of(samples, [](float value) { return value != 0; });
    }

    bool isArmed() const { return armed_; }

    std::vector<float> read(std::uint32_t count) {
        std::vector<float> samples(std::size_t{count} * 2);
        for (std::uint32_t frame = 0; armed_ && frame < count; ++frame) {
            const auto taken = frames_.extract(next_++ % size_);
            if (!taken.empty()) {
                samples[2 * frame] = taken.mapped()[0];
                samples[2 * frame + 1] = taken.mapped()[1];
            }
        }
        return samples;
    }

  private:
    std::int64_t size_;
    std::int64_t next_ = 0;
    bool armed_ = false;
    std::map<std::int64_t, std::array<float, 2>> frames_;
};

enum class Sizes { dividing, any };

class HTMixQueueOracleTest : public testing::TestWithParam<std::tuple<Sizes, unsigned>> {};

/// A writer that runs ahead of and behind the reader, lets gaps, writes the same times again and is often
/// silent, which arms the queue at time 0 only; half-way all is emptied.
TEST_P(HTMixQueueOracleTest, nothingIsLostDoubledOrMisplacedAgainstANaiveQueue) {
    constexpr std::uint32_t size = 64;
    const auto [sizes, seed] = GetParam();
    std::mt19937 random(seed);
    const auto upTo = [&random](std::uint32_t most) {
        return static_cast<std::uint32_t>(random() % (most + 1));
    };
    const std::uint32_t quantum = sizes == Sizes::dividing ? 1U << upTo(6) : 1;
    const std::uint32_t frames = sizes == Sizes::dividing ? quantum : 1 + upTo(size - 1);
    HTMixQueue queue(2, rate, size);
    NaiveQueue naive(size);
    for (int round = 0; round < 400; ++round) {
        if (round == 200) {
            queue.reset();
            naive = NaiveQueue(size);
        }
        const std::int64_t cursor = std::max<std::int64_t>(queue.getLastReadSampleTime(), 0);
        LMNBuffer buffer(2, sizes == Sizes::any && upTo(3) == 0 ? 1 + upTo(size - 1) : frames, rate);
        if (upTo(2) > 0) {
            const bool isSilent = upTo(1) == 0;
            for (std::uint32_t index = 0; index < 2 * buffer.frameCount(); ++index)
                buffer.samples()[index] = isSilent ? -0.0F : static_cast<float>(upTo(15));
            const std::int64_t time =
                std::max<std::int64_t>(cursor / quantum + upTo(80 / quantum) - 8 / quantum, 0);
            queue.write(buffer, time * quantum);
            naive.write(buffer, time * quantum);
            ASSERT_EQ(queue.readLatency(),
                      std::min<std::int64_t>(time * quantum - queue.getLastReadSampleTime(), size));
        } else {
            ASSERT_EQ(readFrames(queue, buffer.frameCount()), naive.read(buffer.frameCount())) << round;
        }
        ASSERT_EQ(queue.hasAudio(), naive.isArmed()) << round;
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, HTMixQueueOracleTest,
                         testing::Combine(testing::Values(Sizes::dividing, Sizes::any),
                                          testing::Range(0U, 24U)));

TEST(HTMixQueueTest, twoThreadsPassEveryFrameOnceWhateverTheirTurns) {
    constexpr int cycles = 3000;
    HTMixQueue queue(2, rate, ringSize);
    queue.write(filled(cycle, 0), 0);
    readFrames(queue, cycle);
    std::thread capture([&] {
        const LMNBuffer captured = filled(cycle, 1);
        std::int64_t sampleTime = cycle;
        for (int count = 0; count < cycles; ++count) {
            queue.nextWriteSampleTime(cycle, sampleTime);
            queue.write(captured, sampleTime);
            sampleTime += cycle;
        }
    });
    double heard = 0;
    const auto hear = [&](std::uint32_t frames) {
        const auto samples = readFrames(queue, frames);
        heard += std::accumulate(samples.begin(), samples.end(), 0.0);
    };
    for (int count = 0; count < cycles; ++count)
        hear(cycle);
    capture.join();
    hear(ringSize);
    EXPECT_EQ(heard, 2.0 * cycle * cycles);
}

} // namespace
} // namespace orb
