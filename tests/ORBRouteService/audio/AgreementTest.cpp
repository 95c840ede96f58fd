// SPDX-License-Identifier: MIT
#include "tests/ORBRouteService/audio/MirrorWorld.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <random>

namespace orb {
namespace {

using Side = PlayerScript::Side;

constexpr std::int64_t latencyFrames = 2 * 44100;

/// Wake-ups of the pacer, of which a fifth come late, by up to a second.
std::function<dispatch::Nanoseconds()> lateWakes(std::uint64_t seed) {
    return [random = std::mt19937_64(seed)]() mutable {
        const std::uint64_t draw = random();
        return draw % 5 == 0 ? dispatch::Nanoseconds{draw / 5 % 1'000'000'001} : dispatch::Nanoseconds{0};
    };
}

class LateWakeTest : public testing::TestWithParam<std::uint64_t> {};

TEST_P(LateWakeTest, isHeard) {
    const auto play = [](VirtualMirrorWorld& world) {
        world.connect({0, 1});
        world.play(PlayerScript(Side::left)
                       .sound(200'000)
                       .silence(40'000)
                       .sound(100'000)
                       .silence(200'000)
                       .sound(400'000));
        world.play(PlayerScript(Side::right).silence(100'000).sound(150'000).silence(500'000));
        world.run(18);
    };
    VirtualMirrorWorld punctual;
    play(punctual);
    VirtualMirrorWorld late({.wakeDelays = lateWakes(GetParam())});
    play(late);
    ASSERT_GT(late.lmn().pacerFigures().worstLateness, std::chrono::milliseconds(500));
    // The latest cycles, and what they lead to, may not have come yet.
    const std::size_t frames = std::min(late.heard().size(), punctual.heard().size());
    ASSERT_GT(frames, 15 * 44100U);
    EXPECT_TRUE(std::equal(late.heard().begin(), late.heard().begin() + static_cast<std::ptrdiff_t>(frames),
                           punctual.heard().begin()));
    EXPECT_EQ(late.heard(0), late.heard(1));
    const auto heard = stretchesOf(late.heard());
    const auto captured = stretchesOf(late.captured());
    ASSERT_GE(heard.size(), 3U);
    EXPECT_EQ(heard.back().at, captured.back().at + latencyFrames);
}

INSTANTIATE_TEST_SUITE_P(Seeds, LateWakeTest, testing::Values(1, 2, 3, 4));

/// What happens at random to a mirror device for half a minute, the same for the same seed.
class RandomLife {
  public:
    RandomLife(VirtualMirrorWorld& world, std::uint64_t seed) : world_(world), random_(seed) {}

    void live() {
        change();
        world_.play(randomScript(Side::left));
        for (int event = 0; event < 25; ++event) {
            world_.run(0.05 + upTo(2.5));
            act();
        }
        world_.run(6);
    }

  private:
    double upTo(double limit) { return std::uniform_real_distribution<double>(0, limit)(random_); }
    std::int64_t framesUpTo(double seconds) { return 1 + static_cast<std::int64_t>(upTo(seconds) * rate); }

    PlayerScript randomScript(Side side) {
        PlayerScript script(side);
        for (int step = 0; step < 8; ++step) {
            script.sound(framesUpTo(6));
            if (upTo(1) < 0.5)
                script.silence(framesUpTo(upTo(1) < 0.5 ? 0.4 : 5));
            else if (upTo(1) < 0.5)
                script.stall(upTo(4.5));
        }
        return script;
    }

    void act() {
        switch (static_cast<int>(upTo(5))) {
            case 0:
                return change();
            case 1:
                muted_ = !muted_;
                return world_.onMain([&] { world_.device().setMuted(muted_); });
            case 2:
                return world_.setLastPause(world_.wallNow());
            case 3: {
                left_ = !left_;
                world_.play(randomScript(left_ ? Side::left : Side::right));
                return;
            }
            default:
                return;
        }
    }

    /// Receiver 0 is always there, so that one of them hears everything.
    void change() {
        std::vector<std::size_t> connected{0};
        for (const std::size_t index : {1U, 2U})
            if (upTo(1) < 0.6)
                connected.push_back(index);
        world_.connect(connected);
    }

    VirtualMirrorWorld& world_;
    std::mt19937_64 random_;
    bool muted_ = false;
    bool left_ = true;
};

class RandomLifeTest : public testing::TestWithParam<std::uint64_t> {};

/// What is heard is what was captured two seconds before, or nothing; so nothing is repeated, torn or out of
/// order.
TEST_P(RandomLifeTest, tearsOrRepeatsSoundOrLetsReceiversDisagree) {
    SCOPED_TRACE(testing::Message() << "seed " << GetParam());
    VirtualMirrorWorld world;
    RandomLife(world, GetParam()).live();
    const Sound captured = world.captured();
    const Sound& heard = world.heard(0);
    std::int64_t sounding = 0;
    std::size_t wrong = 0;
    for (std::size_t frame = 0; frame < heard.size(); ++frame) {
        if (heard[frame] == Frame{})
            continue;
        ++sounding;
        const std::size_t source = frame - latencyFrames;
        wrong +=
            frame < latencyFrames || source >= captured.size() || captured[source] != heard[frame] ? 1 : 0;
    }
    EXPECT_EQ(wrong, 0U);
    EXPECT_GT(sounding, 3 * 44100);

    for (const std::size_t receiver : {1U, 2U}) {
        const Sound& other = world.heard(receiver);
        std::size_t different = 0;
        for (std::size_t frame = 0; frame < other.size(); ++frame) // silent where it was not connected
            different += other[frame] != Frame{} && other[frame] != heard.at(frame) ? 1 : 0;
        EXPECT_EQ(different, 0U) << receiver;
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomLifeTest, testing::Range<std::uint64_t>(1, 13));

} // namespace
} // namespace orb
