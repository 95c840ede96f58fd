// SPDX-License-Identifier: MIT
#include "platform/airplay/PlaybackSystem.h"

#include "platform/dispatch/virtual/VirtualRealm.h"
#include "tests/platform/airplay/Recordings.h"

#include <gtest/gtest.h>

#include <numeric>

namespace airplay {
namespace {

using namespace std::chrono_literals;

constexpr ProcessIdentifier ours = 100;

/// Sounds while it is on: each frame carries the number of the host clock's frame since `zero` that it is
/// heard at, times `gain`.
class CountingSource final : public FrameSource {
  public:
    CountingSource(dispatch::HostTime zero, float gain) : zero_(zero), gain_(gain) {}

    Rendered render(const FrameGrid& grid, FrameIndex first, std::span<float> out) noexcept override {
        ++calls;
        if (!on) {
            return Rendered::silence;
        }
        const FrameIndex number = FrameGrid(zero_).nearest(grid.ticksOfFrame(first));
        for (std::size_t frame = 0; frame < out.size() / 2; ++frame) {
            out[2 * frame] = static_cast<float>(number + static_cast<FrameIndex>(frame)) * gain_;
            out[2 * frame + 1] = -out[2 * frame];
        }
        return Rendered::sound;
    }
    void pass(dispatch::HostTime) noexcept override {}
    bool isActive() const noexcept override { return on; }

    bool on = true;
    int calls = 0;

  private:
    const dispatch::HostTime zero_;
    const float gain_;
};

class RouteTest : public testing::Test {
  public:
    std::shared_ptr<EmbeddedReceiver> makeReceiver(const std::string& name, Recording* recording = nullptr) {
        ReceiverEntry entry;
        entry.description = {.name = name, .identifier = name, .txt = {}, .row = {}};
        entry.file = directory / (name + ".wav");
        return std::make_shared<EmbeddedReceiver>(
            entry,
            EmbeddedReceiver::Surroundings{.mainQueue = realm.mainQueue(),
                                           .report = report,
                                           .observer = recording ? recording->observer() : FrameObserver()});
    }

    void onMain(dispatch::FunctionRef<void()> action) {
        realm.mainQueue().sync(action);
        realm.settle();
    }

    std::shared_ptr<CountingSource> attach(ProcessIdentifier process, float gain = 1) {
        auto source = std::make_shared<CountingSource>(start, gain);
        system.attach(source, process);
        realm.settle();
        return source;
    }

    const foundation::TemporaryDirectory directory;
    dispatch::VirtualRealm realm;
    const dispatch::HostTime start = realm.clock().now();
    std::vector<std::string> reports;
    const Report report = [this](const std::string& line) { reports.push_back(line); };
    PlaybackSystem system{realm, report};
    std::unique_ptr<Route> route = system.makeRoute();
};

TEST_F(RouteTest, receiversOfARouteStoreTheSameAndSilenceForTheTimeWithoutThem) {
    const auto first = makeReceiver("first");
    const auto away = makeReceiver("away");
    onMain([&] {
        route->setProcess(ours);
        route->connect(first);
        route->connect(makeReceiver("second"));
        route->connect(away);
    });
    attach(ours);
    realm.advanceBy(1s);
    onMain([&] {
        route->connect(makeReceiver("later"));
        route->disconnect(away);
    });
    realm.advanceBy(1s);
    onMain([&] { route->connect(away); });
    realm.advanceBy(1s);
    onMain([&] { route.reset(); });

    const SoundFile sound = readSoundFile(directory / "first.wav");
    EXPECT_EQ(sound.info.samplerate, 44100);
    EXPECT_EQ(sound.info.channels, 2);
    EXPECT_EQ(sound.info.format, SF_FORMAT_WAVEX | SF_FORMAT_FLOAT);
    ASSERT_EQ(sound.info.frames, 3 * 44100);
    for (std::size_t frame = 0; frame < 3 * 44100; ++frame) {
        ASSERT_EQ(sound.samples[2 * frame], static_cast<float>(frame));
        ASSERT_EQ(sound.samples[2 * frame + 1], -static_cast<float>(frame));
    }
    EXPECT_EQ(foundation::readFile(directory / "first.wav"), foundation::readFile(directory / "second.wav"));
    for (const auto& [name, second] : {std::pair("later.wav", 0), {"away.wav", 1}}) {
        std::vector<float> expected = sound.samples;
        std::fill_n(expected.begin() + 2 * 44100 * second, 2 * 44100, 0.0F);
        EXPECT_EQ(readSoundFile(directory / name).samples, expected) << name;
    }
    EXPECT_TRUE(reports.empty());
}

TEST_F(RouteTest, theSumOfAProcessIsHeardWhereItIsTiedWhicheverCameFirst) {
    Recording here;
    Recording there;
    const auto otherRoute = system.makeRoute();
    attach(ours);
    onMain([&] {
        route->connect(makeReceiver("here", &here));
        otherRoute->connect(makeReceiver("there", &there));
        route->setProcess(ours);
        otherRoute->setProcess(ours + 1);
    });
    const auto doubled = attach(ours, 2);
    attach(ours + 1, 5);
    attach(ours + 2, 7);
    realm.advanceBy(1s);
    system.detach(doubled);
    onMain([&] { otherRoute->setProcess(ours); }); // taken from the first route
    realm.advanceBy(1s);
    std::vector<float> expectedHere(44100);
    std::vector<float> expectedThere(21 * 4096);
    for (std::size_t frame = 0; frame < expectedThere.size(); ++frame) {
        const auto number = static_cast<float>(frame);
        expectedThere[frame] = frame < 44100 ? 5 * number : number;
        if (frame < 44100)
            expectedHere[frame] = 3 * number;
    }
    EXPECT_EQ(there.left(), expectedThere);
    EXPECT_EQ(here.left(), expectedHere);
    EXPECT_FALSE(here.isBroken() || there.isBroken());
}

TEST_F(RouteTest, noStepRunsUnlessAReceiverIsConnectedAndAPlayerIsActive) {
    const auto receiver = makeReceiver("receiver");
    const auto source = attach(ours);
    onMain([&] { route->setProcess(ours); });
    EXPECT_EQ(realm.armedTimers(), 0U);
    onMain([&] { route->connect(receiver); });
    EXPECT_EQ(realm.armedTimers(), 1U);
    source->on = false;
    realm.advanceBy(1s);
    EXPECT_EQ(realm.armedTimers(), 0U);
    const int calls = source->calls;
    realm.advanceBy(1h);
    source->on = true;
    system.wake();
    realm.advanceBy(100ms);
    EXPECT_GT(source->calls, calls);
    onMain([&] { route->disconnectAll(); });
    EXPECT_EQ(realm.armedTimers(), 0U);
}

TEST_F(RouteTest, anIdleReceiverCostsNoDiskUntilSoundFollows) {
    const auto source = attach(ours);
    source->on = false;
    onMain([&] {
        route->setProcess(ours);
        route->connect(makeReceiver("receiver"));
    });
    realm.advanceBy(100s);
    EXPECT_LT(std::filesystem::file_size(directory / "receiver.wav"), 4096U);
    source->on = true;
    system.wake();
    realm.advanceBy(1s);
    onMain([&] { system.finish(); });
    EXPECT_EQ(readSoundFile(directory / "receiver.wav").info.frames, 101 * 44100);
}

} // namespace
} // namespace airplay
