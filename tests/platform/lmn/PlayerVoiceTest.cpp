// SPDX-License-Identifier: MIT
#include "platform/lmn/embedded/PlayerVoice.h"

#include <gmock/gmock.h>

#include <atomic>
#include <random>
#include <thread>

namespace lmn {
namespace {

/// Frames that tell their own number.
void number(std::span<float> frames, std::size_t first) {
    for (std::size_t frame = 0; frame < frames.size() / 2; ++frame) {
        frames[2 * frame] = static_cast<float>((first + frame) % 1000003);
        frames[2 * frame + 1] = -frames[2 * frame];
    }
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
            if (taken == 0)
                std::this_thread::yield();
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
        if (taken == 0)
            std::this_thread::yield();
        read += taken;
    }
    writer.join();
    EXPECT_EQ(wrong, 0U);
}

TEST(PlayerVoiceTest, aPlayerThatHasEnoughIsNeverLeftWaiting) {
    constexpr std::uint32_t periodFrames = 512;
    const std::vector<float> enough(2 * PlayerVoice::prefill, 0.5F);
    const auto voice = std::make_unique<PlayerVoice>();
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
        voice->fifo().write(enough);
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
        left += voice->state() == PlayerVoice::State::filling ? 1 : 0;
    }
    reader.join();
    EXPECT_EQ(left, 0);
}

} // namespace
} // namespace lmn
