// SPDX-License-Identifier: MIT
#include "platform/lmn/embedded/PlayerVoice.h"

#include <gmock/gmock.h>

#include <atomic>
#include <random>
#include <thread>

namespace lmn {
namespace {

using State = PlayerVoice::State;
using testing::Each;

constexpr std::uint32_t periodFrames = 512;

/// Frames that tell their own number.
void number(std::span<float> frames, std::size_t first) {
    for (std::size_t frame = 0; frame < frames.size() / 2; ++frame) {
        frames[2 * frame] = static_cast<float>((first + frame) % 1000003);
        frames[2 * frame + 1] = -frames[2 * frame];
    }
}

TEST(PlayerFifoTest, itTakesTwoSecondsAndNotAFrameMore) {
    PlayerFifo fifo;
    std::vector<float> frames(2 * (PlayerFifo::capacity + 7));
    number(frames, 0);
    EXPECT_EQ(fifo.write(std::span(frames).first(2 * 5 + 1)), 5U) << "only whole frames";
    EXPECT_EQ(fifo.write(std::span(frames).subspan(2 * 5)), PlayerFifo::capacity - 5);
    EXPECT_EQ(fifo.space(), 0U);
    EXPECT_EQ(fifo.write(frames), 0U);
    std::vector<float> read(frames.size());
    EXPECT_EQ(fifo.read(read), PlayerFifo::capacity);
    EXPECT_TRUE(std::equal(read.begin(), read.begin() + 2 * PlayerFifo::capacity, frames.begin()));
    EXPECT_EQ(fifo.read(read), 0U);
}

TEST(PlayerFifoTest, betweenTwoThreadsNoFrameIsLostRepeatedOrTorn) {
    constexpr std::size_t total = 10 * PlayerFifo::capacity;
    PlayerFifo fifo;
    std::thread writer([&] {
        std::mt19937 random(1);
        std::vector<float> frames(2 * 5000);
        for (std::size_t written = 0; written < total;) {
            const std::size_t count = std::min<std::size_t>(random() % 5000, total - written);
            number(std::span(frames).first(2 * count), written);
            const std::size_t taken = fifo.write(std::span(frames).first(2 * count));
            if (taken == 0) {
                std::this_thread::yield();
            }
            written += taken;
        }
    });
    std::mt19937 random(2);
    std::vector<float> frames(2 * 3000);
    std::vector<float> expected(2 * 3000);
    std::size_t wrong = 0;
    for (std::size_t read = 0; read < total;) {
        const std::size_t taken = fifo.read(std::span(frames).first(2 * (random() % 3000)));
        number(std::span(expected).first(2 * taken), read);
        wrong += std::equal(frames.begin(), frames.begin() + static_cast<std::ptrdiff_t>(2 * taken),
                            expected.begin())
                     ? 0
                     : 1;
        if (taken == 0) {
            std::this_thread::yield();
        }
        read += taken;
    }
    writer.join();
    EXPECT_EQ(wrong, 0U);
}

class PlayerVoiceTest : public testing::Test {
  protected:
    PlayerVoiceTest() { voice->join({}); }

    void write(std::size_t frames) {
        ASSERT_EQ(voice->fifo().write(std::vector<float>(2 * frames, 0.5F)), frames);
    }

    /// Frames of the block that hold sound, after one period.
    std::size_t advance() {
        voice->advance(periodFrames);
        const auto sounding = static_cast<std::size_t>(std::ranges::count(voice->block(), 0.5F));
        EXPECT_THAT(voice->block().subspan(sounding), Each(0.0F));
        EXPECT_TRUE(voice->block().empty() || voice->block().size() == 2 * periodFrames);
        return sounding / 2;
    }

    const std::unique_ptr<PlayerVoice> voice = std::make_unique<PlayerVoice>();
};

TEST_F(PlayerVoiceTest, aPlayerIsLetInWithATenthOfASecondAndAgainAfterItRanDry) {
    for (std::uint64_t round = 0; round < 3; ++round) {
        write(PlayerVoice::prefill - 1);
        EXPECT_FALSE(voice->startIfReady());
        EXPECT_EQ(advance(), 0U);
        write(1);
        EXPECT_TRUE(voice->startIfReady());
        EXPECT_FALSE(voice->startIfReady());
        for (int period = 0; period < 8; ++period) {
            ASSERT_EQ(advance(), periodFrames);
        }
        EXPECT_EQ(voice->underruns(), round);
        EXPECT_EQ(advance(), PlayerVoice::prefill - 8 * periodFrames);
        EXPECT_EQ(voice->underruns(), round + 1);
        EXPECT_EQ(voice->state(), State::filling);
    }
}

TEST_F(PlayerVoiceTest, whatWasSentBeforeTheEndPlaysOutAndLeavesNoUnderrun) {
    write(700);
    voice->end();
    EXPECT_TRUE(voice->startIfReady());
    EXPECT_EQ(advance(), periodFrames);
    EXPECT_EQ(advance(), 700 - periodFrames);
    EXPECT_EQ(voice->state(), State::playing) << "the last block is still to be mixed";
    EXPECT_EQ(advance(), 0U);
    EXPECT_EQ(voice->state(), State::drained);
    EXPECT_TRUE(voice->needsAttention());
    EXPECT_EQ(voice->underruns(), 0U);

    voice->release();
    voice->join({});
    EXPECT_FALSE(voice->hasEnded());
    EXPECT_FALSE(voice->startIfReady());
}

TEST_F(PlayerVoiceTest, aSenderIsWokenWhenThereIsRoomAndNotBefore) {
    write(PlayerFifo::capacity);
    voice->startIfReady();
    for (std::size_t period = 1; period < PlayerVoice::refill / periodFrames; ++period) {
        advance();
        ASSERT_FALSE(voice->needsAttention());
    }
    advance();
    EXPECT_TRUE(voice->needsAttention());
}

TEST_F(PlayerVoiceTest, aPlayerThatHasEnoughIsNeverLeftWaiting) {
    // In each round the reader runs dry at the moment at which the player says that nothing more will come.
    // One of the two must notice: the server by itself, or the reader by asking it to look again.
    constexpr int rounds = 2000;
    std::atomic<int> begun = 0;
    std::atomic<int> ready = 0;
    std::atomic<int> ended = 0;
    bool attention = false;
    std::thread reader([&] {
        for (int round = 1; round <= rounds; ++round) {
            while (begun.load() < round)
                std::this_thread::yield();
            ready.store(round);
            voice->advance(periodFrames);
            attention = voice->needsAttention();
            ended.store(round);
        }
    });
    std::mt19937 random(3);
    int left = 0;
    for (int round = 1; round <= rounds; ++round) {
        voice->release();
        voice->join({});
        write(PlayerVoice::prefill);
        voice->startIfReady();
        while (voice->fifo().available() >= periodFrames)
            voice->advance(periodFrames);
        begun.store(round);
        for (int spins = 0; ready.load() < round; ++spins)
            if (spins % 1000 == 999)
                std::this_thread::yield();
        for (auto spins = random() % 256; spins > 0 && ended.load() < round; --spins)
            continue;
        voice->end();
        voice->startIfReady();
        while (ended.load() < round)
            std::this_thread::yield();
        if (attention)
            voice->startIfReady();
        left += voice->state() == State::filling ? 1 : 0;
    }
    reader.join();
    EXPECT_EQ(left, 0);
}

} // namespace
} // namespace lmn
