// SPDX-License-Identifier: MIT
#include "tests/orbctl/sound/WriteSound.h"
#include "tests/processes/MirrorlabTest.h"

#include <gmock/gmock.h>

namespace mirrorlab::test {
namespace {

using namespace orbctl;
using namespace orbctl::test;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class UnusableInputTest : public MirrorlabTest {
  protected:
    UnusableInputTest() { writeSound(good, described(0, framesPerSecond)); }

    void expectRefused(const std::vector<std::string>& arguments, int status, const std::string& message) {
        SCOPED_TRACE(message);
        const Ending ending = run(arguments);
        EXPECT_EQ(ending.status, status) << ending.errors;
        EXPECT_THAT(ending.errors, HasSubstr(message));
        EXPECT_THAT(ending.output, IsEmpty());
    }

    const std::string good = file("good.wav");
};

TEST_F(UnusableInputTest, isRefusedWithItsOwnStatusAndPlaceBeforeAnythingIsPlayed) {
    const std::string receivers = file("receivers.json");
    const std::string plain = file("plain");
    foundation::writeFile(receivers, "{\"version\": 1,\n \"receivers\": [\n");
    foundation::writeFile(plain, "");
    foundation::writeFile(file("cut.wav"), foundation::readFile(good).substr(0, 30));
    expectRefused(runOf(good, {"--virtual", "--receivers", receivers}), 65, receivers + ":3:1: ");
    for (const std::string& sound : {file("missing.wav"), file("cut.wav"), plain})
        expectRefused(runOf(sound, {"--virtual"}), 65, sound + ": ");
    expectRefused({"run", good, "--virtual", "--output", plain}, 73, plain);
    for (const char* option : {"--json", "--journal"})
        expectRefused(runOf(good, {"--virtual", option, plain + "/below"}), 73, plain);
    for (const auto& wrongUsage : {std::vector<std::string>{},
                                   {"run"},
                                   {"unknown"},
                                   {"play", good},
                                   runOf(good, {"--unknown"}),
                                   runOf(good, {"--duration", "nan"}),
                                   runOf(good, {"--at-least", "1e300"}),
                                   runOf(good, {"--wake-delays", "11"}),
                                   runOf(good, {"--seed", "-"})})
        expectRefused(wrongUsage, 64, "");
    EXPECT_EQ(run({"--help"}).status, 0);
}

/// Without a recording there is nothing to judge; it must be told, and before the sound where that is
/// possible.
TEST_F(UnusableInputTest, aReceiverWhoseSoundIsNotStoredIsToldWithoutACrash) {
    const std::string begin = R"({"version": 1, "receivers": [{"name": "A", "id": "A1:B2:C3:D4:E5:F6")";
    foundation::writeFile(file("none.json"), begin + "}]}");
    foundation::writeFile(file("unwritable.json"), begin + R"(, "file": "missing/a.wav"}]})");
    expectRefused(runOf(good, {"--receivers", file("none.json")}), 65, "\"A\" has no file");
    EXPECT_EQ(run(runOf(good, {"--virtual", "--receivers", file("none.json")})).status, 0);
    for (const std::vector<std::string>& mode : {std::vector<std::string>{}, {"--virtual", "--keep"}}) {
        auto arguments =
            runOf(good, {"--duration", "0.1", "--latency", "0.2", "--receivers", file("unwritable.json")});
        arguments.insert(arguments.end(), mode.begin(), mode.end());
        const Ending ending = run(arguments);
        EXPECT_EQ(ending.status, 70);
        EXPECT_THAT(ending.errors, HasSubstr("missing/a.wav: "));
    }
}

TEST_F(UnusableInputTest, anAbsurdLatencyIsToldAndEndsInBoundedTime) {
    writeSound(file("five.wav"), described(0, 5 * framesPerSecond));
    for (const auto& [latency, status, line] :
         {std::tuple("0", 1, "a latency of 0.0 s is not above the"),
          std::tuple("-1", 1, "a latency of -1.0 s is not above the"),
          std::tuple("nan", 0, "a render latency of nan s is no latency; 2.0 s is kept"),
          std::tuple("1e9", 1, "a latency of 1000000000.0 s cannot be used, 30.0 s is")}) {
        const Ending ending =
            run(runOf(file("five.wav"), {"--virtual", std::string("--latency=") + latency}));
        EXPECT_EQ(ending.status, status) << latency << ending.errors;
        EXPECT_THAT(foundation::readFile(output() + "/mirrorlab.log"), HasSubstr(line));
    }
}

} // namespace
} // namespace mirrorlab::test
