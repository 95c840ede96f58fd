// SPDX-License-Identifier: MIT
#include "platform/lmn/embedded/EmbeddedAudioServer.h"
#include "platform/lmn/embedded/PlayerClient.h"
#include "tests/platform/lmn/LMNTestWorld.h"
#include "tests/platform/lmn/SocketPlayer.h"

#include <gmock/gmock.h>
#include <boost/asio/post.hpp>

#include <pthread.h>

#include <atomic>
#include <csignal>
#include <thread>

namespace lmn {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

class PlayerClientTest : public testing::Test {
  protected:
    ~PlayerClientTest() override {
        served.reset();
        realm.settle();
    }

    /// Runs a player on a thread of its own, for which virtual time waits, up to its end.
    void play(const std::function<void()>& player) {
        std::atomic<bool> left = false;
        const auto debt = realm.awaitOutside("the player's thread", [&] { return left.load(); });
        std::thread thread([&] {
            player();
            left.store(true);
            boost::asio::post(realm.mainQueue().ioContext(), [] {});
        });
        realm.advanceBy(0s);
        thread.join();
    }

    dispatch::VirtualRealm realm;
    DeviceWorld world{realm};
    EmbeddedAudioServer server{realm};
    LMNSystem system{realm, world.manager, server};
    std::shared_ptr<ServedDevice> served = server.serve(world.device);
    const std::filesystem::path socket = world.device->directory().path() / playerSocketName;
};

template <typename Error>
std::string failureOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const Error& error) {
        return error.what();
    }
    return "no failure";
}

TEST_F(PlayerClientTest, oneWriteOfManySecondsArrivesWholeThroughInterruptions) {
    struct sigaction interrupt {};
    interrupt.sa_handler = [](int) {}; // and without SA_RESTART
    ASSERT_EQ(::sigaction(SIGUSR1, &interrupt, nullptr), 0);
    constexpr std::size_t frames = 10 * 44100;
    const std::vector<float> sound = countingFrames(frames);
    Listener listener(system, tapOn(*world.device));
    listener.tap().start();

    std::atomic<bool> written = false;
    std::atomic<bool> connected = false;
    std::thread player([&] {
        PlayerClient client(socket, {.name = "player"});
        connected.store(true);
        client.write(sound);
        written.store(true);
    });
    const auto connecting = realm.awaitOutside("the player", [&] { return connected.load(); });
    while (listener.periods().size() < frames / periodFrames) {
        realm.advanceBy(100ms);
        if (!written.load()) {
            ::pthread_kill(player.native_handle(), SIGUSR1);
        }
    }
    player.join();
    realm.advanceBy(100ms);
    std::vector<float> heard = listener.heard();
    ASSERT_GE(heard.size(), sound.size());
    heard.resize(sound.size());
    EXPECT_EQ(heard, sound);
    EXPECT_EQ(server.underruns(), 0U);
    EXPECT_EQ(world.device->activeProcesses().get().size(), 0U);
}

TEST_F(PlayerClientTest, aRefusalCarriesTheDevicesReason) {
    play([&] {
        EXPECT_THAT(failureOf<PlayerProtocolError>(
                        [&] { PlayerClient(socket, {.name = "player", .sampleRate = 48000}); }),
                    HasSubstr("not at 48000"));
        EXPECT_THAT(failureOf<PlayerProtocolError>(
                        [&] { PlayerClient(socket, {.name = std::string(1024 * 1024, 'x')}); }),
                    HasSubstr("longer than 4096 bytes"));
    });
}

TEST_F(PlayerClientTest, nobodyServingTheDeviceIsSaid) {
    const auto idle = world.makeDevice("idle");
    const auto dead = world.makeDevice("dead");
    const foundation::FileDescriptor bound = support::boundSocket(playerSocketOf(*dead));
    for (const std::filesystem::path& directory :
         {world.root / "absent", idle->directory().path(), dead->directory().path()}) {
        const std::filesystem::path path = directory / playerSocketName;
        EXPECT_THAT(failureOf<std::system_error>([&] { PlayerClient(path, {}); }),
                    HasSubstr("nobody serves " + path.string()));
    }
    EXPECT_THAT(failureOf<std::system_error>([&] { PlayerClient(idle->directory(), {}); }),
                HasSubstr("nobody serves " + idle->directory().path().string()));
}

} // namespace
} // namespace lmn
