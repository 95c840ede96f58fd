// SPDX-License-Identifier: MIT
#include "platform/lmn/embedded/PlayerProtocol.h"

#include <gmock/gmock.h>

#include <cmath>
#include <cstring>
#include <limits>

namespace lmn {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

TEST(PlayerProtocolTest, aBadHelloIsRefusedByItsFault) {
    struct Case {
        std::string line;
        std::string fault;
    };
    const std::string wanted = "wanted are \"name\" (string) and \"format\"";
    const auto hello = [](const std::string& format) {
        return R"({"version":1,"name":"x","format":{)" + format + "}}";
    };
    const std::vector<Case> cases = {
        {"", "hello"},
        {"[1]", "object"},
        {std::string(2000, '['), "deep"},
        {R"({"version":2,"name":"x"})", "\"version\" is not 1"},
        {R"({"version":1,"name":7,"format":{"sampleType":"int16","sampleRate":44100,"channels":2}})", wanted},
        {hello(R"("sampleRate":44100,"channels":2)"), wanted},
        {hello(R"("sampleType":"float64","sampleRate":44100,"channels":2)"), "\"float64\" is neither"},
        {hello(R"("sampleType":")" + std::string(4000, 'x') + '"'), "sample type of 4000 bytes is neither"},
        {hello(R"("sampleType":"int16","sampleRate":"44100","channels":2)"), wanted},
        {hello(R"("sampleType":"int16","sampleRate":44100.5,"channels":2)"), "44100 Hz, not at 44100.5"},
        {hello(R"("sampleType":"int16","sampleRate":44100,"channels":0)"), "0 channels, wanted are 1 to 32"},
        {hello(R"("sampleType":"int16","sampleRate":44100,"channels":33)"), "33 channels"},
        {hello(R"("sampleType":"int16","sampleRate":44100,"channels":4294967298)"), wanted}};
    for (const Case& bad : cases) {
        try {
            decodeHello(bad.line);
            ADD_FAILURE() << "accepted: " << bad.line;
        } catch (const PlayerProtocolError& error) {
            EXPECT_THAT(error.what(), HasSubstr(bad.fault)) << bad.line;
            EXPECT_LE(encodeAnswer(error.what()).size(), longestHello) << "no player takes in that answer";
        }
    }
}

template <typename Sample>
std::vector<float> read(const PlayerHello& hello, const std::vector<Sample>& samples,
                        std::size_t expectedReplaced = 0) {
    const std::size_t frames = samples.size() / hello.channels;
    std::vector<std::byte> bytes(samples.size() * sizeof(Sample) + 1);
    std::memcpy(bytes.data() + 1, samples.data(), bytes.size() - 1); // as unaligned as a stream may be
    std::vector<float> stereo(2 * frames);
    EXPECT_EQ(PlayerSampleReader(hello).convert(bytes.data() + 1, frames, stereo.data()), expectedReplaced);
    return stereo;
}

TEST(PlayerSampleReaderTest, everyFormatBecomesStereo) {
    EXPECT_THAT(read({.name = "player", .sampleType = PlayerSampleType::int16},
                     std::vector<std::int16_t>{-32768, 32767, 1, -1}),
                ElementsAre(-1.0F, 32767 / 32768.0F, 1 / 32768.0F, -1 / 32768.0F));
    EXPECT_THAT(read({.name = "player", .channels = 3}, std::vector<float>{1, 2, 3, 4, 5, 6}),
                ElementsAre(1, 2, 4, 5));
}

TEST(PlayerSampleReaderTest, whatIsNoSoundIsSilence) {
    const float infinity = std::numeric_limits<float>::infinity();
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float smallest = std::numeric_limits<float>::denorm_min();
    EXPECT_THAT(read({},
                     std::vector<float>{nan, 0.5F, infinity, -infinity, std::nextafter(8.0F, 9.0F), 8.0F,
                                        -nan, smallest},
                     5),
                ElementsAre(0, 0.5F, 0, 0, 0, 8.0F, 0, smallest));
}

} // namespace
} // namespace lmn
