// SPDX-License-Identifier: MIT
#include "ORBRouteService/audio/HTMixQueue.h"

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <limits>
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

double total(const LMNBuffer& buffer) {
    const auto samples = samplesOf(buffer);
    return std::accumulate(samples.begin(), samples.end(), 0.0);
}

std::vector<float> readFrames(HTMixQueue& queue, std::uint32_t frames) {
    LMNBuffer buffer(queue.channels(), frames, queue.rate());
    queue.read(buffer);
    return samplesOf(buffer);
}

std::int64_t correctedTime(const HTMixQueue& queue, std::uint32_t frames, std::int64_t sampleTime) {
    queue.nextWriteSampleTime(frames, sampleTime);
    return sampleTime;
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

TEST(HTMixQueueTest, onlySoundOrTheVeryFirstTimeArmsTheQueueAndUntilThenNothingIsRead) {
    const LMNBuffer silence = filled(cycle, 0);
    const LMNBuffer negativeZero = filled(cycle, -0.0F);
    LMNBuffer lastSample = silence;
    lastSample.samples()[2 * cycle - 1] = std::numeric_limits<float>::denorm_min();
    struct Row {
        const LMNBuffer& buffer;
        std::int64_t time;
        bool arms;
    };
    for (const Row& row : {Row{silence, 0, true}, Row{silence, 1, false}, Row{silence, 512, false},
                           Row{silence, ringSize, false}, Row{negativeZero, 512, false},
                           Row{lastSample, 0, true}, Row{lastSample, 512, true}}) {
        HTMixQueue queue(2, rate, ringSize);
        queue.write(row.buffer, row.time);
        EXPECT_EQ(queue.hasAudio(), row.arms) << row.time;
        LMNBuffer target = filled(cycle, 3);
        queue.read(target);
        EXPECT_EQ(queue.getLastReadSampleTime(), row.arms ? 512 : -1);
        queue.write(silence, 1024);
        EXPECT_EQ(queue.hasAudio(), row.arms) << "a later silence changed it";
    }
}

TEST(HTMixQueueTest, writesAddUpAndAReadAddsToItsBufferAndLeavesZeros) {
    HTMixQueue queue(2, rate, ringSize);
    for (std::int64_t time = 0; time < ringSize; time += cycle) {
        queue.write(filled(cycle, 1), time);
        queue.write(filled(cycle, 0.25F), time);
    }
    for (int count = 0; count < 32; ++count) {
        LMNBuffer target = filled(cycle, 4);
        queue.read(target);
        EXPECT_EQ(samplesOf(target), std::vector<float>(2 * cycle, 5.25F));
    }
    EXPECT_EQ(readFrames(queue, ringSize), std::vector<float>(2 * ringSize, 0.0F)) << "the round after";
    queue.write(filled(cycle, 1), 2 * ringSize);
    EXPECT_EQ(readFrames(queue, cycle), std::vector<float>(2 * cycle, 1.0F));
}

TEST(HTMixQueueTest, theNextWriteTimeIsLedBackToTheReadCursorFromBothSides) {
    struct Row {
        std::uint32_t cursor; // 0: nothing was read
        std::int64_t proposed;
        std::int64_t corrected;
    };
    for (const Row& row :
         {Row{400, 1000, 400}, Row{600, 1000, 1000}, Row{1200, 1000, 1200}, Row{400, 912, 912},
          Row{400, 913, 400}, Row{400, 400, 400}, Row{400, 399, 400}, Row{400, -7, 400}, Row{0, 0, 0},
          Row{0, -5, 0}, Row{0, 1, 1}, Row{0, 511, 511}, Row{0, 512, -1}, Row{0, 100000, -1}}) {
        HTMixQueue queue(2, rate, ringSize);
        queue.write(filled(cycle, 0), 0);
        readFrames(queue, row.cursor);
        EXPECT_EQ(correctedTime(queue, 512, row.proposed), row.corrected)
            << row.cursor << ' ' << row.proposed;
    }
}

TEST(HTMixQueueTest, theLatencyIsTheLeadOfTheLastWriteNeverAboveTheRing) {
    HTMixQueue queue(2, rate, ringSize);
    for (const std::int64_t time : {0, 100, 16382, 16383, 16384, 1000000}) {
        queue.write(filled(cycle, 1), time);
        EXPECT_EQ(queue.readLatency(), std::min<std::int64_t>(time + 1, ringSize));
        EXPECT_EQ(queue.readLatencySeconds(), static_cast<double>(queue.readLatency()) / rate);
    }
    queue.write(filled(cycle, 1), 0);
    readFrames(queue, 1000);
    EXPECT_EQ(queue.readLatency(), -1000);
}

TEST(HTMixQueueTest, configuringAnotherChannelCountOrResettingEmptiesAndTheSameCountKeeps) {
    const std::vector<std::pair<std::function<void(HTMixQueue&)>, bool>> operations{
        {[](HTMixQueue& queue) { queue.configure(2); }, true},
        {[](HTMixQueue& queue) { queue.configure(1), queue.configure(2); }, false},
        {[](HTMixQueue& queue) { queue.reset(); }, false},
    };
    for (const auto& [operate, keeps] : operations) {
        HTMixQueue queue(2, rate, ringSize);
        queue.write(filled(cycle, 1), 0);
        queue.write(filled(cycle, 1), 512);
        readFrames(queue, cycle);
        operate(queue);
        EXPECT_EQ(queue.hasAudio(), keeps);
        EXPECT_EQ(queue.getLastReadSampleTime(), keeps ? 512 : -1);
        EXPECT_EQ(queue.allocatedSize(), 2 * ringSize * 2);
        queue.setHasAudio(true);
        queue.write(filled(0, 0), 0);
        EXPECT_EQ(readFrames(queue, ringSize)[0], keeps ? 1.0F : 0.0F);
    }
    HTMixQueue six(2, rate, ringSize);
    six.configure(6);
    EXPECT_EQ(six.allocatedSize(), 6 * ringSize * 2);
    six.write(filled(ringSize, 1, 6), ringSize - 1);
    EXPECT_EQ(readFrames(six, ringSize), std::vector<float>(6 * ringSize, 1.0F));
}

TEST(HTMixQueueTest, numbersThatAreOnlyStoredNeverLeadOutsideOfTheStorage) {
    HTMixQueue queue(2, rate, ringSize);
    queue.write(filled(cycle, 1), 0);
    queue.setAllocatedSize(1LL << 40);
    queue.setChannels(64);
    queue.write(filled(ringSize, 1, 64), ringSize - 1);
    EXPECT_EQ(queue.readLatency(), 1) << "taken although there is no room";
    EXPECT_EQ(readFrames(queue, ringSize), std::vector<float>(64 * ringSize, 0.0F));
    queue.setRate(48000);
    queue.setChannels(1);
    queue.write(filled(ringSize, 1, 1, 48000), ringSize - 1);
    readFrames(queue, ringSize);
    queue.setRate(rate);
    queue.configure(2);
    queue.reset();
    queue.write(filled(cycle, 1), 0);
    EXPECT_EQ(readFrames(queue, cycle), std::vector<float>(2 * cycle, 1.0F));
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
        armed_ = armed_ || time == 0 || !buffer.isSilenceStrict(0);
    }

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
    const std::int64_t size_;
    std::int64_t next_ = 0;
    bool armed_ = false;
    std::map<std::int64_t, std::array<float, 2>> frames_;
};

enum class Sizes { dividing, any };

class HTMixQueueOracleTest : public testing::TestWithParam<std::tuple<Sizes, unsigned>> {};

/// A writer that runs ahead of and behind the reader, lets gaps and writes the same times again.
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
        const std::int64_t cursor = std::max<std::int64_t>(queue.getLastReadSampleTime(), 0);
        LMNBuffer buffer(2, sizes == Sizes::any && upTo(3) == 0 ? 1 + upTo(size - 1) : frames, rate);
        if (upTo(2) > 0) {
            for (std::uint32_t index = 0; index < 2 * buffer.frameCount(); ++index) {
                buffer.samples()[index] = static_cast<float>(upTo(15));
            }
            const std::int64_t time =
                std::max<std::int64_t>(cursor / quantum + upTo(80 / quantum) - 8 / quantum, 0);
            queue.write(buffer, time * quantum);
            naive.write(buffer, time * quantum);
        } else {
            ASSERT_EQ(readFrames(queue, buffer.frameCount()), naive.read(buffer.frameCount())) << round;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, HTMixQueueOracleTest,
                         testing::Combine(testing::Values(Sizes::dividing, Sizes::any),
                                          testing::Range(0U, 24U)));

/// What was written before the reset is gone with it; the capture's times are then no multiples of its size.
TEST(HTMixQueueTest, captureThatGoesOnOverAResetLosesNoFrameWhenTheRingWraps) {
    HTMixQueue queue(2, rate, ringSize);
    std::int64_t sampleTime = 0;
    double written = 0;
    double heard = 0;
    for (int period = 0; period < 100; ++period) {
        if (period == 3) {
            queue.reset();
            written = heard = 0;
        }
        queue.nextWriteSampleTime(cycle, sampleTime);
        const LMNBuffer captured = filled(cycle, static_cast<float>(period + 1));
        queue.write(captured, sampleTime);
        written += sampleTime >= 0 ? total(captured) : 0;
        sampleTime += cycle;
        LMNBuffer mix(2, cycle, rate);
        queue.read(mix);
        heard += total(mix);
    }
    LMNBuffer rest(2, ringSize, rate);
    queue.read(rest);
    EXPECT_EQ(heard + total(rest), written);
}

TEST(HTMixQueueTest, twoThreadsPassEveryFrameOnceWhateverTheirTurns) {
    constexpr int cycles = 3000;
    HTMixQueue queue(2, rate, ringSize);
    queue.write(filled(cycle, 0), 0);
    readFrames(queue, cycle);
    double written = 0;
    double heard = 0;
    std::thread capture([&] {
        const LMNBuffer captured = filled(cycle, 1);
        std::int64_t sampleTime = cycle;
        for (int count = 0; count < cycles; ++count) {
            queue.nextWriteSampleTime(cycle, sampleTime);
            queue.write(captured, sampleTime);
            sampleTime += cycle;
            written += total(captured);
        }
    });
    LMNBuffer mix(2, cycle, rate);
    for (int count = 0; count < cycles; ++count) {
        mix.mute();
        queue.read(mix);
        heard += total(mix);
        EXPECT_LE(queue.readLatency(), ringSize);
    }
    capture.join();
    LMNBuffer rest(2, ringSize, rate);
    queue.read(rest);
    EXPECT_EQ(heard + total(rest), written);
}

} // namespace
} // namespace orb
