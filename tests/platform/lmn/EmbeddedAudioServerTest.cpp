// SPDX-License-Identifier: MIT
#include "platform/lmn/embedded/EmbeddedAudioServer.h"
#include "platform/lmn/embedded/PlayerSession.h"
#include "tests/platform/lmn/LMNTestWorld.h"
#include "tests/platform/lmn/SocketPlayer.h"
#include "tests/support/LogCapture.h"

#include <gmock/gmock.h>

#include <sys/resource.h>

#include <list>
#include <optional>

namespace lmn {
namespace {

using namespace std::chrono_literals;
using testing::AllOf;
using testing::HasSubstr;

const std::string accepted = encodeAnswer({});

class EmbeddedAudioServerTest : public testing::Test {
  protected:
    ~EmbeddedAudioServerTest() override {
        served.reset();
        realm.settle();
    }

    SocketPlayer connect(const std::string& hello) {
        SocketPlayer player(world.device->directory());
        EXPECT_TRUE(player.isConnected());
        player.send(hello);
        realm.settle();
        return player;
    }

    SocketPlayer connect(const PlayerHello& hello) { return connect(encodeHello(hello)); }

    void sendAll(SocketPlayer& player, std::string_view bytes) {
        while (!bytes.empty()) {
            bytes.remove_prefix(player.send(bytes));
            realm.settle();
        }
    }

    template <typename Sample>
    void sendAll(SocketPlayer& player, const std::vector<Sample>& samples) {
        sendAll(player, {reinterpret_cast<const char*>(samples.data()), samples.size() * sizeof(Sample)});
    }

    /// What a tap hears of `frames` frames of sound, from the first on.
    std::vector<float> hear(std::size_t frames) {
        Listener listener(system, tapOn(*world.device));
        listener.tap().start();
        const std::size_t periods = frames / periodFrames + 3; // and up to where its players are gone
        realm.advanceUntil([&] { return listener.periods().size() == periods; }, 60s);
        std::vector<float> heard = listener.heard();
        heard.resize(2 * frames);
        listener.tap().stop();
        realm.settle();
        return heard;
    }

    dispatch::VirtualRealm realm;
    const LogCapture log;
    DeviceWorld world{realm};
    EmbeddedAudioServer server{realm};
    LMNSystem system{realm, world.manager, server};
    std::shared_ptr<ServedDevice> served = server.serve(world.device);
};

TEST_F(EmbeddedAudioServerTest, soundArrivesBitForBitInEveryFormat) {
    const std::vector<float> stereo = countingFrames(20000);
    for (const PlayerSampleType sampleType : {PlayerSampleType::float32, PlayerSampleType::int16}) {
        for (const std::uint32_t channels : {1U, 2U}) {
            SocketPlayer player =
                connect(PlayerHello{.name = "player", .sampleType = sampleType, .channels = channels});
            ASSERT_EQ(player.answer(), accepted);
            std::vector<float> floats;
            std::vector<std::int16_t> shorts;
            std::vector<float> expected = stereo;
            for (std::size_t frame = 0; frame < 20000; ++frame) {
                for (std::uint32_t channel = 0; channel < channels; ++channel) {
                    floats.push_back(stereo[2 * frame + channel]);
                    shorts.push_back(static_cast<std::int16_t>(floats.back() * 32768.0F));
                }
                expected[2 * frame + 1] = floats.back();
            }
            sampleType == PlayerSampleType::int16 ? sendAll(player, shorts) : sendAll(player, floats);
            player.close();
            EXPECT_EQ(hear(20000), expected);
            EXPECT_EQ(world.device->activeProcesses().get().size(), 0U);
        }
    }
    EXPECT_EQ(server.underruns(), 0U);
}

TEST_F(EmbeddedAudioServerTest, whateverComesInsteadOfAHelloIsRefusedWithItsReasonAndHarmsNobody) {
    SocketPlayer good = connect(PlayerHello{.name = "good"});
    const std::vector<float> sound = countingFrames(20000);
    const std::vector<std::pair<std::string, std::string>> bad = {
        {"GET / HTTP/1.1\r\n\r\n", "hello"},
        {std::string("\0\xFF\x80\n", 4), "hello"},
        {std::string(1024 * 1024, 'x'), "longer than 4096 bytes"},
        {encodeHello({.name = "player", .sampleRate = 48000}) + std::string(100000, '\0'), "not at 48000"}};
    for (const auto& [bytes, reason] : bad) {
        SocketPlayer player = connect(bytes);
        EXPECT_THAT(player.answer(), AllOf(HasSubstr("\"accepted\":false"), HasSubstr(reason)));
        EXPECT_TRUE(player.isClosed());
    }
    EXPECT_EQ(log.count(4, "refused: "), bad.size());
    connect("half a hello").close();
    realm.settle();
    EXPECT_EQ(log.count(1, "left without a hello"), 1U);

    sendAll(good, sound);
    good.close();
    EXPECT_EQ(hear(20000), sound);
}

TEST_F(EmbeddedAudioServerTest, aPlayerThatSaysNothingIsRefusedAfterFiveSeconds) {
    const dispatch::HostTime origin = realm.clock().now();
    SocketPlayer player = connect("{\"version\":1,");
    realm.advanceUntil([&] { return player.isClosed(); }, 1min);
    EXPECT_EQ(realm.clock().now() - origin, PlayerSession::helloTimeout);
    EXPECT_THAT(player.answer(), HasSubstr("no hello within 5 s"));
    EXPECT_EQ(realm.armedTimers(), 0U);
}

TEST_F(EmbeddedAudioServerTest, soundThatComesInOnePieceWithTheHelloIsHeardWhole) {
    const std::vector<float> sound = countingFrames(5000);
    const std::string_view bytes(reinterpret_cast<const char*>(sound.data()), sound.size() * sizeof(float));
    for (const std::size_t first : {0U, 1U, 1000U, 3001U, 40000U}) {
        SocketPlayer player(world.device->directory());
        sendAll(player, encodeHello({}) + std::string(bytes.substr(0, first)));
        sendAll(player, bytes.substr(first));
        player.close();
        EXPECT_EQ(hear(5000), sound) << first;
    }
}

TEST_F(EmbeddedAudioServerTest, aPlayerThatLiesAboutItsFormatIsSilentAndOthersAreUnharmed) {
    SocketPlayer liar = connect(PlayerHello{.name = "liar"});
    SocketPlayer honest = connect(PlayerHello{.name = "honest"});
    std::vector<std::int16_t> waves;
    for (int sample = 0; sample < 40000; ++sample) {
        waves.push_back(static_cast<std::int16_t>(sample % 20000 - 10000));
    }
    const std::vector<float> sound = countingFrames(9000);
    sendAll(liar, waves);
    sendAll(honest, sound);
    liar.close();
    honest.close();
    EXPECT_EQ(hear(9000), sound);
    EXPECT_EQ(log.count(4, "player \"liar\""), 1U);
    EXPECT_EQ(log.count(4, ""), 1U);
}

TEST_F(EmbeddedAudioServerTest, samplesThatAreNoNumbersAreSilenceAndToldOnce) {
    SocketPlayer player = connect(PlayerHello{.name = "rubbish"});
    std::vector<float> sound = countingFrames(9000);
    std::vector<float> expected = sound;
    for (std::size_t sample = 0; sample < sound.size(); sample += 3) {
        sound[sample] = sample % 2 == 0 ? std::numeric_limits<float>::quiet_NaN()
                                        : -std::numeric_limits<float>::infinity();
        expected[sample] = 0;
    }
    sendAll(player, sound);
    player.close();
    EXPECT_EQ(hear(9000), expected);
    EXPECT_EQ(log.count(4, "player \"rubbish\""), 1U);
}

TEST_F(EmbeddedAudioServerTest, aPlayerThatDiesInTheMiddleOfAFrameIsHeardUpToTheFrameBefore) {
    SocketPlayer player = connect(PlayerHello{.name = "torn"});
    std::vector<float> sound = countingFrames(5000);
    sendAll(player, sound);
    sendAll(player, std::string_view("\1\2\3"));
    player.close();
    sound.resize(2 * 6000);
    EXPECT_EQ(hear(6000), sound);
    EXPECT_EQ(log.count(1, "left in the middle of a frame, which is dropped"), 1U);
}

TEST_F(EmbeddedAudioServerTest, aFloodIsHeldBackAtTheSocketAndMovesOnlyAsFastAsItIsPlayed) {
    SocketPlayer player = connect(PlayerHello{});
    const std::vector<float> piece(2 * 4096, 0.25F);
    std::size_t taken = 0;
    const auto flood = [&] {
        const std::size_t before = taken;
        for (std::size_t now = 1; now > 0; taken += now) {
            now = player.sendSamples(std::span(piece));
            realm.settle();
        }
        return taken - before;
    };
    constexpr std::size_t held = PlayerFifo::capacity * 2 * sizeof(float);
    constexpr std::size_t socketBuffer = 512 * 1024;
    EXPECT_LT(flood(), held + socketBuffer);
    EXPECT_GT(taken, held - PlayerVoice::refill * 2 * sizeof(float));

    Listener listener(system, tapOn(*world.device));
    listener.tap().start();
    std::size_t moved = 0;
    for (int step = 0; step < 50; ++step) {
        realm.advanceBy(100ms);
        moved += flood();
    }
    EXPECT_NEAR(static_cast<double>(moved), 5 * 44100 * 8, 2 * PlayerVoice::refill * 8);
    EXPECT_EQ(server.underruns(), 0U);
}

TEST_F(EmbeddedAudioServerTest, thePlayerBeyondTheLastPlaceIsRefused) {
    std::list<SocketPlayer> players;
    for (std::size_t place = 0; place < PlayerRoster::maximumPlayers; ++place) {
        players.push_back(connect(PlayerHello{}));
        ASSERT_EQ(players.back().answer(), accepted);
    }
    EXPECT_THAT(connect(PlayerHello{}).answer(), HasSubstr("as many players as it can mix"));
    players.clear();
    realm.settle();
    EXPECT_EQ(connect(PlayerHello{}).answer(), accepted);
}

TEST_F(EmbeddedAudioServerTest, aDeviceThatIsServedAlreadyIsRefusedAndTheFirstServerGoesOn) {
    EXPECT_EQ(server.serve(world.device), served);
    EmbeddedAudioServer second(realm);
    try {
        second.serve(world.device);
        ADD_FAILURE() << "served twice";
    } catch (const AudioServerError& error) {
        EXPECT_THAT(error.what(), AllOf(HasSubstr(world.device->description()),
                                        HasSubstr("another process serves it already")));
    }
    realm.settle();
    EXPECT_EQ(connect(PlayerHello{}).answer(), accepted);
}

TEST_F(EmbeddedAudioServerTest, theSocketThatAKilledProcessLeftBehindIsTakenOver) {
    const auto device = world.makeDevice("left");
    {
        const foundation::FileDescriptor dead(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        const sockaddr_un address = playerAddress(device->directory());
        ASSERT_EQ(::bind(dead.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        ASSERT_EQ(::listen(dead.get(), 1), 0);
    }
    EXPECT_FALSE(SocketPlayer(device->directory()).isConnected());
    const auto taken = server.serve(device);
    SocketPlayer player(device->directory());
    player.send(encodeHello({}));
    realm.settle();
    EXPECT_EQ(player.answer(), accepted);
}

TEST_F(EmbeddedAudioServerTest, aDeviceNoLongerServedLeavesNoSocketAndNoConnectionBehind) {
    SocketPlayer greeted = connect(PlayerHello{});
    SocketPlayer silent = connect(std::string());
    const std::filesystem::path socket = world.device->directory().path() / playerSocketName;
    EXPECT_TRUE(std::filesystem::exists(socket));
    served.reset();
    realm.settle();
    EXPECT_FALSE(std::filesystem::exists(socket));
    EXPECT_TRUE(greeted.isClosed());
    EXPECT_TRUE(silent.isClosed());
    realm.advanceBy(1min);
    served = server.serve(world.device);
    EXPECT_EQ(connect(PlayerHello{}).answer(), accepted);
}

TEST(EmbeddedAudioServerEndTest, aServerThatEndsRightAfterItsDeviceLeavesNoSocketBehind) {
    dispatch::RealRealm realm;
    DeviceWorld world(realm);
    for (int round = 0; round < 10; ++round) {
        EmbeddedAudioServer server(realm);
        const auto last = server.serve(world.device);
    }
    EXPECT_FALSE(std::filesystem::exists(world.device->directory().path() / playerSocketName));
}

// The sanitizer's check of object types needs descriptors itself and takes their lack for a broken object.
#if !defined(__has_feature)
#define ORB_CHECKS_TYPES 0
#else
#define ORB_CHECKS_TYPES __has_feature(undefined_behavior_sanitizer)
#endif
#if !ORB_CHECKS_TYPES
TEST_F(EmbeddedAudioServerTest, aProcessOutOfDescriptorsNeitherSpinsNorLosesThePlayersThatWait) {
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    SocketPlayer player(world.device->directory());
    const int firstFree = ::dup(0);
    ::close(firstFree);
    rlimit none = before;
    none.rlim_cur = static_cast<rlim_t>(firstFree);
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
    realm.advanceBy(10s);
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_GE(log.count(4, "audio server"), 1U);
    EXPECT_LE(log.count(4, "audio server"), 11U) << "one attempt a second at most";
    realm.advanceBy(2s);
    player.send(encodeHello({}));
    realm.settle();
    EXPECT_EQ(player.answer(), accepted);
}
#endif

} // namespace
} // namespace lmn
