// SPDX-License-Identifier: MIT
#include "orbctl/report/ServiceLog.h"

#include <gtest/gtest.h>

namespace orbctl {
namespace {

using namespace std::chrono_literals;

constexpr dispatch::Date start{std::chrono::sys_days{std::chrono::year{2026} / 11 / 23} + 5h + 44min + 23s};

const std::string first =
    "0 [x] <d> first chunk after resync: anchor=0.1, startLatency=2.0, pts=2.1, "
    "duration=0.18575963718820862";

std::string at(const char* second, const std::string& text) {
    return std::string("2026-11-23T05:44:").append(second).append("Z ").append(text);
}

TEST(ServiceLog, readsFiguresAndDatesAsTheServiceWritesThem) {
    const ServiceLog log = readServiceLog(
        {"what comes before the first date is nobody's",
         at("23.658271", "0 [x] ORBMirrorDevice init: frames=8192 rate=44100.0 syncLatency=1.5"),
         at("24.000000",
            "0 [x] <d> resetRendererState(flush: true, reason: resync: needsResync=true, rate=0.0)"),
         at("24.500000",
            "0 [x] <d> feed chunk: pts=2.1, now=0.2, ahead=1.8254312s, effectiveLatency=2.0111908s, "
            "target=2.0s(base=2.0s) rate=1.0 reported=2.108190022675737"),
         at("25.000000", "0 [x] <d> low buffer: buffered=-0.05s (<0.09s), pending=0, rate=1.0"),
         at("25.000001", "4 two"), "lines"});
    ASSERT_EQ(log.lines.size(), 6U);
    EXPECT_EQ(log.lines[0].time, start + 658271us);
    EXPECT_EQ(log.lines[4].level, 4);
    EXPECT_EQ(log.lines[4].text + log.lines[5].text, "twolines");
    EXPECT_EQ(log.lines[5].time, log.lines[4].time);
    EXPECT_EQ(log.latency, 1.5);
    ASSERT_EQ(log.effectiveLatency.size(), 1U);
    EXPECT_EQ(log.effectiveLatency[0].seconds, 2.0111908);
    ASSERT_EQ(log.buffered.size(), 2U);
    EXPECT_EQ(log.buffered[0].seconds, 1.8254312);
    EXPECT_EQ(log.buffered[1].seconds, -0.05);
    EXPECT_TRUE(log.lines[2].plotted);
    EXPECT_FALSE(log.lines[3].plotted) << "a warning is a mark";
    ASSERT_EQ(log.resynchronisations.size(), 1U);
    EXPECT_EQ(log.resynchronisations[0].reason, "needsResync=true, rate=0.0");
}

TEST(ServiceLog, takesTheFirstChunkThatIsHeardAndNoneThatWasDroppedAgain) {
    const std::string flush = "0 [x] <d> resetRendererState(flush: true, reason: silent stop)";
    const auto heardFrom = [](std::chrono::microseconds written) {
        return start + written + dispatch::toNanoseconds(2.0 - 0.18575963718820862 + 512 / 44100.0);
    };
    EXPECT_EQ(readServiceLog({at("24.000000", first), at("29.000000", flush), at("30.000000", first)})
                  .firstChunkHeard,
              heardFrom(1s));
    EXPECT_EQ(readServiceLog({at("24.000000", first), at("25.000000", flush), at("30.000000", first)})
                  .firstChunkHeard,
              heardFrom(7s));
}

TEST(ServiceLog, takesNoHarmFromDamagedLines) {
    for (const std::string& line : {std::string(), std::string("2026-02-31T00:00:00.000000Z 0 no such day"),
                                    std::string("9999-01-01T00:00:00.000000Z 0 beyond nanoseconds"),
                                    std::string("2026-01-01T00:00:00")})
        EXPECT_TRUE(readServiceLog({line}).lines.empty()) << line;
    const ServiceLog log = readServiceLog({at("24.000000", ""), at("24.000000", "0 feed chunk: ahead=nan"),
                                           at("24.000000", "0 feed chunk: ahead=, effectiveLatency=inf"),
                                           at("24.000000",
                                              "0 first chunk after resync: startLatency=1e300, "
                                              "duration=")});
    EXPECT_EQ(log.lines.size(), 4U);
    EXPECT_TRUE(log.buffered.empty() && log.effectiveLatency.empty() && !log.firstChunkHeard);
}

} // namespace
} // namespace orbctl
