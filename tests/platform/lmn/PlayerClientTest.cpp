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

/// A thread of a player's own beside virtual time, which waits for it.
class PlayerThread {
  public:
    PlayerThread(dispatch::VirtualRealm& realm, const std::function<void()>& play)
        : debt_(realm.awaitOutside("the player's thread", [this] { return left_.load(); })),
          thread_([this, play, &context = realm.mainQueue().ioContext()] {
              play();
              leave(context);
          }) {}
    ~PlayerThread() { thread_.join(); }

    pthread_t handle() { return thread_.native_handle(); }

    /// Lets virtual time go on.
    void leave(boost::asio::io_context& context) {
        left_.store(true);
        boost::asio::post(context, [] {});
    }

  private:
    std::atomic<bool> left_ = false;
    const std::shared_ptr<void> debt_;
    std::thread thread_;
};

class PlayerClientTest : public testing::Test {
  protected:
    ~PlayerClientTest() override {
        served.reset();
        realm.settle();
    }

    /// Runs a player on a thread of its own, in virtual time, up to its end.
    void play(const std::function<void()>& player) {
        const PlayerThread thread(realm, player);
        realm.advanceBy(0s);
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

TEST_F(PlayerClientTest, shortsArriveAndTheWrongKindOfSamplesIsNotSent) {
    const std::vector<std::int16_t> shorts(2 * 5000, 16384);
    play([&] {
        PlayerClient client(world.device->directory(),
                            {.name = "player", .sampleType = PlayerSampleType::int16});
        EXPECT_THROW(client.write(std::vector<float>(2)), std::invalid_argument);
        client.write(shorts);
    });
    Listener listener(system, tapOn(*world.device));
    listener.tap().start();
    realm.advanceUntil([&] { return listener.periods().size() == 9; }, 1s);
    EXPECT_EQ(listener.heard(), std::vector<float>(2 * 9 * periodFrames, 0.5F));
    play([&] {
        PlayerClient client(socket, {});
        EXPECT_THROW(client.write(shorts), std::invalid_argument);
    });
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
    const auto expectNobody = [&](int error, const std::filesystem::path& path) {
        try {
            PlayerClient(path, {});
            ADD_FAILURE() << "connected";
        } catch (const std::system_error& failure) {
            EXPECT_EQ(failure.code().value(), error);
            EXPECT_THAT(failure.what(), HasSubstr("nobody serves " + path.string()));
        }
    };
    expectNobody(ENOENT, world.root / "absent/player.sock");
    const auto idle = world.makeDevice("idle");
    expectNobody(ENOENT, idle->directory().path() / playerSocketName);
    EXPECT_THAT(failureOf<std::system_error>([&] { PlayerClient(idle->directory(), {}); }),
                HasSubstr("nobody serves " + idle->directory().path().string()));

    const foundation::FileDescriptor dead(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const sockaddr_un address = playerAddress(idle->directory());
    ASSERT_EQ(::bind(dead.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    expectNobody(ECONNREFUSED, idle->directory().path() / playerSocketName);
}

TEST_F(PlayerClientTest, aDeviceThatLeavesEndsTheWriting) {
    std::optional<PlayerClient> client;
    play([&] {
        client.emplace(socket, PlayerHello{});
        client->write(countingFrames(PlayerFifo::capacity));
    });
    served.reset();
    realm.settle();
    EXPECT_THAT(failureOf<PlayerDisconnected>([&] { client->write(countingFrames(1)); }),
                HasSubstr(socket.string() + " left"));
}

TEST_F(PlayerClientTest, aServerThatAnswersNothingOrWithoutEndIsFoundOut) {
    const auto device = world.makeDevice("odd");
    const foundation::FileDescriptor listening(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const sockaddr_un address = playerAddress(device->directory());
    ASSERT_EQ(::bind(listening.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(::listen(listening.get(), 1), 0);
    const auto answerWith = [&](const std::string& answer) {
        const foundation::FileDescriptor connection(::accept(listening.get(), nullptr, nullptr));
        ::send(connection.get(), answer.data(), answer.size(), MSG_NOSIGNAL);
    };
    std::thread silent(answerWith, "");
    EXPECT_THROW(PlayerClient(device->directory(), {}), PlayerDisconnected);
    silent.join();
    std::thread endless(answerWith, std::string(100000, ' '));
    EXPECT_THAT(failureOf<PlayerProtocolError>([&] { PlayerClient(device->directory(), {}); }),
                HasSubstr("longer than 4096 bytes"));
    endless.join();
}

TEST(PlayerClientRealTimeTest, aPlayerThatStallsIsSilentWhileAnotherPlaysOn) {
    dispatch::RealRealm realm;
    DeviceWorld world(realm);
    EmbeddedAudioServer server(realm);
    LMNSystem system(realm, world.manager, server);
    Listener listener(system, tapOn(*world.device));
    listener.tap().start();

    // One is heard on the left only, the other on the right.
    std::vector<float> stalling;
    std::vector<float> playing;
    for (std::size_t frame = 1; frame <= 2 * PlayerVoice::prefill; ++frame) {
        const float sample = static_cast<float>(frame) / 32768.0F;
        playing.insert(playing.end(), {0.0F, sample});
        if (frame <= PlayerVoice::prefill)
            stalling.insert(stalling.end(), {sample, 0.0F});
    }
    PlayerClient staller(world.device->directory(), {.name = "staller"});
    staller.write(stalling);
    {
        PlayerClient player(world.device->directory(), {.name = "player"});
        player.write(playing);
    }
    const auto heardOn = [&](std::size_t channel) {
        std::vector<float> heard;
        system.ioQueue().sync([&] { heard = listener.heard(); });
        std::vector<float> sounding;
        for (std::size_t sample = channel; sample < heard.size(); sample += 2)
            if (heard[sample] != 0)
                sounding.push_back(heard[sample]);
        return sounding;
    };
    const auto numbers = [](std::size_t count) {
        std::vector<float> samples;
        for (std::size_t frame = 1; frame <= count; ++frame)
            samples.push_back(static_cast<float>(frame) / 32768.0F);
        return samples;
    };
    EXPECT_TRUE(runUntil(realm, [&] { return heardOn(1).size() == 2 * PlayerVoice::prefill; }));
    EXPECT_EQ(heardOn(1), numbers(2 * PlayerVoice::prefill));
    EXPECT_EQ(heardOn(0), numbers(PlayerVoice::prefill));
    EXPECT_EQ(server.underruns(), 1U);
}

} // namespace
} // namespace lmn
