// SPDX-License-Identifier: MIT
#include "platform/lmn/LogCapture.h"
#include "platform/lmn/embedded/EmbeddedAudioServer.h"
#include "platform/lmn/embedded/PlayerSession.h"
#include "tests/platform/lmn/LMNTestWorld.h"
#include "tests/platform/lmn/SocketPlayer.h"

#include <gmock/gmock.h>

#include <sys/resource.h>

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
        SocketPlayer player(*world.device);
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

/// However much of it comes in one piece with the hello.
TEST_F(EmbeddedAudioServerTest, soundArrivesBitForBit) {
    constexpr std::size_t frames = 20000;
    const std::vector<float> stereo = countingFrames(frames);
    std::vector<std::int16_t> shorts;
    std::vector<float> mono;
    for (std::size_t frame = 0; frame < frames; ++frame) {
        shorts.push_back(static_cast<std::int16_t>(stereo[2 * frame] * 32768.0F));
        mono.insert(mono.end(), 2, stereo[2 * frame]);
    }
    const std::string shortBytes(reinterpret_cast<const char*>(shorts.data()), 2 * shorts.size());
    const std::string floatBytes(reinterpret_cast<const char*>(stereo.data()), 4 * stereo.size());
    const PlayerHello shortHello{.name = "int16", .sampleType = PlayerSampleType::int16, .channels = 1};
    for (const std::size_t first : {0U, 1U, 1000U, 3001U, 40000U}) {
        for (const auto& [hello, bytes, expected] :
             {std::tuple(shortHello, shortBytes, mono), {PlayerHello{}, floatBytes, stereo}}) {
            SocketPlayer player(*world.device);
            sendAll(player, encodeHello(hello) + bytes.substr(0, first));
            sendAll(player, bytes.substr(first) + "\1"); // and a frame that is torn
            ASSERT_EQ(player.answer(), accepted);
            player.close();
            std::vector<float> heard = hear(frames + 100);
            EXPECT_TRUE(std::ranges::all_of(std::span(heard).subspan(2 * frames),
                                            [](float sample) { return sample == 0; }));
            heard.resize(2 * frames);
            EXPECT_EQ(heard, expected) << first;
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

TEST_F(EmbeddedAudioServerTest, aDeviceThatIsServedAlreadyIsRefusedAndTheFirstServerGoesOn) {
    EXPECT_EQ(server.serve(world.device), served);
    EmbeddedAudioServer second(realm);
    EXPECT_THROW(second.serve(world.device), AudioServerError);
    realm.settle();
    EXPECT_EQ(connect(PlayerHello{}).answer(), accepted);
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
    SocketPlayer player(*world.device);
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
