// SPDX-License-Identifier: MIT
#include "tests/ORBRouteService/audio/MirrorWorld.h"

#include <gmock/gmock.h>

#include <random>

namespace orb {
namespace {

using Side = PlayerScript::Side;

constexpr std::int64_t latencyFrames = 2 * 44100;

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
                return world_.setLastPause(world_.now());
            case 3:
                left_ = !left_;
                world_.play(randomScript(left_ ? Side::left : Side::right));
                return;
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
