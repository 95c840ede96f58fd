// SPDX-License-Identifier: MIT
#include "platform/lmn/LogCapture.h"
#include "platform/lmn/embedded/EmbeddedAudioServer.h"
#include "platform/lmn/embedded/PlayerSession.h"
#include "tests/platform/lmn/LMNTestWorld.h"
#include "tests/support/unixSockets.h"

#include <gmock/gmock.h>

namespace lmn {
namespace {

using namespace std::chrono_literals;
using testing::AllOf;
using testing::HasSubstr;

const std::string accepted = encodeAnswer({});

/// The bare socket of a player that may behave as badly as it likes. It never waits, so that it can share the
/// thread of virtual time.
class SocketPlayer {
  public:
    explicit SocketPlayer(const LMNDevice& device)
        : socket_(support::connectedSocket(device.directory().socketPath(playerSocketName))) {}

    bool isConnected() const { return static_cast<bool>(socket_); }

    /// Bytes that the socket took: fewer than given when it is full, or the device gone.
    std::size_t send(std::string_view bytes) {
        std::size_t sent = 0;
        ssize_t count = 0;
        while (sent < bytes.size() &&
               (count = ::send(socket_.get(), bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL)) > 0)
            sent += static_cast<std::size_t>(count);
        return sent;
    }

    /// All that the device has said so far.
    const std::string& answer() {
        std::array<char, 256> bytes{};
        ssize_t count = 0;
        while ((count = ::recv(socket_.get(), bytes.data(), bytes.size(), 0)) > 0)
            answer_.append(bytes.data(), static_cast<std::size_t>(count));
        closed_ = closed_ || count == 0 || errno != EAGAIN;
        return answer_;
    }

    /// Whether the device has closed the connection.
    bool isClosed() { return answer(), closed_; }

    void close() { socket_.reset(); }

  private:
    foundation::FileDescriptor socket_;
    std::string answer_;
    bool closed_ = false;
};

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
        realm.advanceUntil([&] { return listener.periods() == periods; }, 60s);
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
        {R"({"version":2,"name":"x","format":{"sampleType":"int16","sampleRate":44100,"channels":2}})"
         "\n",
         "is not 1"},
        {R"({"version":1,"name":"x","format":{"sampleType":"int16","sampleRate":"44100","channels":2}})"
         "\n",
         "wanted are"},
        {R"({"version":1,"name":"x","format":{"sampleType":"float64","sampleRate":44100,"channels":2}})"
         "\n",
         "is neither"},
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

} // namespace
} // namespace lmn
