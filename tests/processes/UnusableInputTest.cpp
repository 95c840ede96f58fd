// SPDX-License-Identifier: MIT
#include "tests/processes/MirrorlabProcess.h"

#include "tests/orbctl/sound/TestSounds.h"

#include <gmock/gmock.h>
#include <sndfile.h>

namespace mirrorlab::test {
namespace {

using namespace orbctl;
using namespace orbctl::test;
using ::testing::AnyOf;
using ::testing::Eq;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class UnusableInputTest : public MirrorlabTest {
  protected:
    UnusableInputTest() { writeDescribedSound(file("good.wav"), framesPerSecond); }

    std::filesystem::path writeNoise(const std::string& name, int rate, int channels, int frames) const {
        const Samples samples = noise((std::int64_t{frames} * channels + 1) / 2, 7);
        SF_INFO info{};
        info.samplerate = rate;
        info.channels = channels;
        info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_24;
        SNDFILE* sound = sf_open(file(name).c_str(), SFM_WRITE, &info);
        EXPECT_NE(sound, nullptr) << name;
        EXPECT_EQ(sf_writef_float(sound, samples.data(), frames), frames);
        sf_close(sound);
        return file(name);
    }

    void expectRefused(const std::vector<std::string>& arguments, int status, const std::string& message) {
        SCOPED_TRACE(message);
        const Ending ending = run(arguments);
        EXPECT_EQ(ending.status, status) << ending.errors;
        EXPECT_THAT(ending.errors, HasSubstr(message));
        EXPECT_THAT(ending.output, IsEmpty());
    }
};

TEST_F(UnusableInputTest, anUnusableReceiversFileIsRefusedWithThePlaceOfItsFault) {
    const struct {
        std::string text;
        std::string complaint;
    } cases[] = {
        {"", ":1:1: "},
        {"\xFF\xFE{}", ":1:1: "},
        {"{\"version\": 1,\n \"receivers\": [\n", ":3:1: "},
        {std::string(5000, '['), ":1:9: too deep"},
        {"{\"version\": 2, \"receivers\": []}", ":1:13: \"version\""},
        {"{\"version\": 1, \"receivers\": 5}", ":1:29: \"receivers\""},
        {"{\"version\": 1, \"receivers\": []}", ": names no receiver"},
        {"{\"version\": 1,\n\"version\": 1, \"receivers\": []}", ":2:1: key \"version\""},
        {"{\"version\": 1, \"receivers\": [\n  {\"name\": 7, \"id\": \"A1:B2:C3:D4:E5:F6\"}]}",
         ":2:12: \"name\""},
        {"{\"version\": 1, \"receivers\": [{\"name\": \"A\", \"id\": \"A1:B2:C3:D4:E5:F6\"},\n"
         " {\"name\": \"B\", \"id\": \"a1:b2:c3:d4:e5:f6\"}]}",
         ":2:22: id \"a1:b2:c3:d4:e5:f6\""},
    };
    for (const auto& wrong : cases) {
        foundation::writeFile(file("receivers.json"), wrong.text);
        const std::string path = file("receivers.json");
        expectRefused(runOf(file("good.wav"), {"--virtual", "--receivers", path}), 65,
                      path + wrong.complaint);
    }
    expectRefused(runOf(file("good.wav"), {"--receivers", file("missing.json")}), 65,
                  file("missing.json").string() + ": ");
}

/// Without a recording there is nothing to judge; it must be told, and before the sound where that is
/// possible.
TEST_F(UnusableInputTest, aReceiverWhoseSoundIsNotStoredIsToldWithoutACrash) {
    const std::string begin = R"({"version": 1, "receivers": [{"name": "A", "id": "A1:B2:C3:D4:E5:F6")";
    foundation::writeFile(file("none.json"), begin + "}]}");
    foundation::writeFile(file("unwritable.json"), begin + R"(, "file": "missing/a.wav"}]})");
    expectRefused(runOf(file("good.wav"), {"--receivers", file("none.json")}), 65, "\"A\" has no file");
    EXPECT_EQ(run(runOf(file("good.wav"), {"--virtual", "--receivers", file("none.json")})).status, 0);
    const std::vector<std::string> quick{"--duration", "0.1",         "--latency",
                                         "0.2",        "--receivers", file("unwritable.json")};
    for (const std::vector<std::string>& mode : {std::vector<std::string>{}, {"--virtual", "--keep"}}) {
        auto arguments = runOf(file("good.wav"), quick);
        arguments.insert(arguments.end(), mode.begin(), mode.end());
        const Ending ending = run(arguments);
        EXPECT_EQ(ending.status, 70);
        EXPECT_THAT(ending.errors, HasSubstr("missing/a.wav: "));
    }
}

TEST_F(UnusableInputTest, anUnusableSoundFileIsRefusedBeforeAnythingIsPlayed) {
    foundation::writeFile(file("empty.wav"), "");
    foundation::writeFile(file("garbage.wav"), std::string(10000, '\x7F'));
    const std::string good = foundation::readFile(file("good.wav"));
    foundation::writeFile(file("cut.wav"), good.substr(0, 30));
    std::string channelless = good;
    channelless.replace(22, 2, 2, '\0'); // the channel count of the WAV header
    foundation::writeFile(file("channelless.wav"), channelless);
    writeNoise("frameless.wav", 44100, 2, 0);
    writeNoise("slow.wav", 4000, 2, 4000);
    writeNoise("fast.wav", 384000, 2, 384000);
    std::filesystem::create_directory(file("folder.wav"));
    for (const char* name : {"missing.wav", "folder.wav", "empty.wav", "garbage.wav", "cut.wav",
                             "channelless.wav", "frameless.wav", "slow.wav", "fast.wav"}) {
        expectRefused(runOf(file(name), {"--virtual"}), 65, file(name).string() + ": ");
    }
}

TEST_F(UnusableInputTest, aSoundFileAtTheEdgeOfWhatIsAcceptedIsPlayedPerfectly) {
    for (const auto& sound :
         {writeNoise("8k.wav", 8000, 2, 8000), writeNoise("192k.wav", 192000, 2, 192000),
          writeNoise("mono.wav", 44100, 1, 44100), writeNoise("32.wav", 44100, 32, 44100)}) {
        const Ending ending = run(runOf(sound, {"--virtual"}));
        EXPECT_EQ(ending.status, 0) << sound << ending.errors << ending.output;
    }
}

TEST_F(UnusableInputTest, wrongUsageHasAnExitStatusOfItsOwn) {
    const std::vector<std::vector<std::string>> cases{
        {},
        {"run"},
        {"unknown"},
        {"play", file("good.wav")},
        runOf(file("good.wav"), {"--unknown"}),
        runOf(file("good.wav"), {"--latency", "soon"}),
        runOf(file("good.wav"), {"--duration", "0"}),
        runOf(file("good.wav"), {"--duration", "nan"}),
        runOf(file("good.wav"), {"--at-least", "-1"}),
        runOf(file("good.wav"), {"--at-least", "1e300"}),
        runOf(file("good.wav"), {"--wake-delays", "11"}),
        runOf(file("good.wav"), {"--wake-delays", "nan"}),
        runOf(file("good.wav"), {"--seed", "-"}),
    };
    for (const auto& arguments : cases) {
        expectRefused(arguments, 64, "");
    }
    EXPECT_EQ(run({"--help"}).status, 0);
}

TEST_F(UnusableInputTest, whatCannotBeWrittenIsNoticedBeforeAnythingIsPlayed) {
    const std::string sound = file("good.wav");
    foundation::writeFile(file("plain"), "");
    expectRefused({"run", sound, "--virtual", "--output", file("plain")}, 73, file("plain"));
    expectRefused({"run", sound, "--virtual", "--output", file("plain") / "below"}, 73, file("plain"));
    for (const char* option : {"--json", "--journal"}) {
        expectRefused(runOf(sound, {"--virtual", option, file("plain") / "below"}), 73, file("plain"));
    }
    std::filesystem::create_directories(file("taken") / "mirrorlab.log");
    expectRefused({"run", sound, "--virtual", "--output", file("taken")}, 73,
                  file("taken") / "mirrorlab.log");
    std::filesystem::remove(temporary());
    expectRefused(runOf(sound), 73, "temp_directory_path");
    expectRefused(runOf(sound, {"--virtual"}), 73, "temp_directory_path");
}

TEST_F(UnusableInputTest, anAbsurdLatencyIsToldAndEndsInBoundedTimeAndMemory) {
    writeDescribedSound(file("five.wav"), 5 * framesPerSecond);
    const struct {
        const char* latency;
        int status;
        const char* line;
    } cases[] = {
        {"0", 1, "a latency of 0.0 s is not above the"},
        {"-1", 1, "a latency of -1.0 s is not above the"},
        {"nan", 0, "a render latency of nan s is no latency; 2.0 s is kept"},
        {"1e9", 1, "a latency of 1000000000.0 s cannot be used, 30.0 s is"},
    };
    constexpr std::int64_t mostMemory = 512LL * 1024 * 1024; // with sanitizers; without them it is some 20 MB
    for (const auto& absurd : cases) {
        SCOPED_TRACE(absurd.latency);
        const Ending ending =
            run(runOf(file("five.wav"), {"--virtual", std::string("--latency=") + absurd.latency}));
        EXPECT_EQ(ending.status, absurd.status) << ending.errors;
        EXPECT_THAT(foundation::readFile(output() / "mirrorlab.log"), HasSubstr(absurd.line));
        EXPECT_LT(ending.peakMemory, mostMemory);
    }
}

} // namespace
} // namespace mirrorlab::test
