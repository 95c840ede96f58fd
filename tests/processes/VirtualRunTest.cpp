// SPDX-License-Identifier: MIT
#include "tests/processes/MirrorlabProcess.h"

#include "orbctl/sound/Frames.h"

#include <gmock/gmock.h>
#include <boost/json.hpp>

namespace mirrorlab::test {
namespace {

using namespace orbctl;
using ::testing::HasSubstr;
using ::testing::Ne;

class VirtualRunTest : public MirrorlabTest {
  protected:
    VirtualRunTest() { writeDescribedSound(file("sound.wav"), 7 * framesPerSecond); }

    /// A run that has to be perfect.
    void runPerfectly(const std::string& seconds, const std::vector<std::string>& added) {
        auto arguments = runOf(file("sound.wav"), {"--virtual", "--duration", seconds});
        arguments.insert(arguments.end(), added.begin(), added.end());
        const Ending ending = run(arguments);
        EXPECT_EQ(ending.status, 0) << ending.errors << ending.output;
    }

    /// The report of a minute with these options.
    boost::json::object reportOf(const std::vector<std::string>& added) {
        auto options = added;
        options.insert(options.end(), {"--json", file("report.json")});
        runPerfectly("60", options);
        return json("report.json").as_object();
    }
};

/// What each receiver played, without how long it went on in silence.
boost::json::array soundOf(const boost::json::object& report) {
    boost::json::array receivers = report.at("receivers").as_array();
    for (boost::json::value& receiver : receivers) {
        receiver.as_object().erase("frames");
        receiver.as_object().erase("tailFrames");
    }
    return receivers;
}

TEST_F(VirtualRunTest, twoRunsOfTheSameAreTheSameToTheByte) {
    const std::vector<std::vector<std::string>> cases{{}, {"--wake-delays", "1", "--seed", "7"}};
    for (const auto& options : cases) {
        for (const char* name : {"first", "second"}) {
            auto added = options;
            added.insert(added.end(), {"--journal", file(name)});
            runPerfectly("120", added);
        }
        const std::string journal = foundation::readFile(file("first"));
        EXPECT_THAT(journal, HasSubstr("first chunk after resync"));
        EXPECT_THAT(journal, HasSubstr("digest of the sound"));
        EXPECT_EQ(journal, foundation::readFile(file("second")));
    }
}

TEST_F(VirtualRunTest, lateWakeUpsChangeNeitherWhatIsHeardNorWhen) {
    const auto punctual = reportOf({});
    const auto late = reportOf({"--wake-delays", "1", "--seed", "1"});
    const auto otherwiseLate = reportOf({"--wake-delays", "1", "--seed", "2"});
    EXPECT_EQ(soundOf(late), soundOf(punctual));
    EXPECT_EQ(soundOf(otherwiseLate), soundOf(punctual));
    EXPECT_EQ(punctual.at("receivers").at(0).at("heardLatencies").as_array().size(), 1U);
    EXPECT_EQ(punctual.at("lateCycles"), 0);
    EXPECT_GT(late.at("lateCycles").as_int64(), 100);
    EXPECT_GT(late.at("worstLatenessSeconds").as_double(), 0.5);
    EXPECT_THAT(otherwiseLate.at("lateCycles"), Ne(late.at("lateCycles"))) << "the seed is not used";
}

} // namespace
} // namespace mirrorlab::test
