// SPDX-License-Identifier: MIT
#include "platform/airplay/PlaybackSystem.h"

#include "platform/airplay/embedded/EmbeddedReceiver.h"
#include "platform/dispatch/virtual/VirtualRealm.h"
#include "platform/foundation/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <sndfile.h>

#include <array>

namespace airplay {
namespace {

using namespace std::chrono_literals;

/// Sounds while it is on.
struct Switched final : FrameSource {
    Rendered render(const FrameGrid&, FrameIndex, std::span<float> out) noexcept override {
        std::ranges::fill(out, 0.75F);
        return on ? Rendered::sound : Rendered::silence;
    }
    void pass(dispatch::HostTime) noexcept override {}
    bool isActive() const noexcept override { return on; }

    bool on = false;
};

TEST(RouteTest, anIdleReceiverCostsNoDiskUntilSoundFollowsWhichIsStoredAsSent) {
    const foundation::TemporaryDirectory directory;
    const std::filesystem::path path = directory / "receiver.wav";
    dispatch::VirtualRealm realm;
    PlaybackSystem system{realm, [](const std::string& line) { ADD_FAILURE() << line; }};
    const std::unique_ptr<Route> route = system.makeRoute();
    const auto source = std::make_shared<Switched>();
    system.attach(source, 100);
    realm.mainQueue().sync([&] {
        ReceiverEntry entry;
        entry.file = path;
        entry.volume = 0.25F; // which the file does not show
        route->setProcess(100);
        route->connect(std::make_shared<EmbeddedReceiver>(
            entry, EmbeddedReceiver::Surroundings{
                       .mainQueue = realm.mainQueue(), .report = system.report(), .observer = {}}));
    });
    realm.advanceBy(100s);
    EXPECT_LT(std::filesystem::file_size(path), 4096U);
    source->on = true;
    system.wake();
    realm.advanceBy(1s);
    realm.mainQueue().sync([&] { system.finish(); });

    SF_INFO info{};
    SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(info.format, SF_FORMAT_WAVEX | SF_FORMAT_FLOAT);
    EXPECT_EQ(info.frames, 101 * 44100);
    std::array<float, 2> last{};
    sf_seek(file, -1, SEEK_END);
    EXPECT_EQ(sf_readf_float(file, last.data(), 1), 1);
    EXPECT_EQ(last, (std::array{0.75F, 0.75F}));
    sf_close(file);
}

} // namespace
} // namespace airplay
