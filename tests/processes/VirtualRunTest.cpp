// SPDX-License-Identifier: MIT
#include "tests/orbctl/sound/WriteSound.h"
#include "tests/processes/MirrorlabTest.h"

#include <gmock/gmock.h>
#include <boost/json.hpp>

namespace mirrorlab::test {
namespace {

using namespace orbctl;
using namespace orbctl::test;
using ::testing::HasSubstr;
using ::testing::Ne;

class VirtualRunTest : public MirrorlabTest {
  protected:
    VirtualRunTest() { writeSound(file("sound.wav"), described(0, 7 * framesPerSecond)); }

    /// The report of a minute with these options, which has to be perfect.
    boost::json::object reportOf(const std::vector<std::string>& added) {
        auto arguments =
            runOf(file("sound.wav"), {"--virtual", "--duration", "60", "--json", file("report.json")});
        arguments.insert(arguments.end(), added.begin(), added.end());
        const Ending ending = run(arguments);
        EXPECT_EQ(ending.status, 0) << ending.errors << ending.output;
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

TEST_F(VirtualRunTest, lateWakeUpsChangeWhatIsHeardOrWhenOrTwoRunsOfTheSameDiffer) {
    const auto punctual = reportOf({});
    const auto late = reportOf({"--wake-delays", "1", "--seed", "1", "--journal", file("first")});
    reportOf({"--wake-delays", "1", "--seed", "1", "--journal", file("second")});
    const auto otherwiseLate = reportOf({"--wake-delays", "1", "--seed", "2"});
    EXPECT_EQ(soundOf(late), soundOf(punctual));
    EXPECT_EQ(soundOf(otherwiseLate), soundOf(punctual));
    EXPECT_EQ(punctual.at("receivers").at(0).at("heardLatencies").as_array().size(), 1U);
    EXPECT_EQ(punctual.at("lateCycles"), 0);
    EXPECT_GT(late.at("lateCycles").as_int64(), 100);
    EXPECT_GT(late.at("worstLatenessSeconds").as_double(), 0.5);
    EXPECT_THAT(otherwiseLate.at("lateCycles"), Ne(late.at("lateCycles"))) << "the seed is not used";
    const std::string journal = foundation::readFile(file("first"));
    EXPECT_THAT(journal, HasSubstr("first chunk after resync"));
    EXPECT_THAT(journal, HasSubstr("digest of the sound"));
    EXPECT_EQ(journal, foundation::readFile(file("second")));
}

} // namespace
} // namespace mirrorlab::test
