// SPDX-License-Identifier: MIT
#include "ORBRouteService/log/ORBDebugLog.h"

#include "platform/lmn/LMNLogWriter.h"
#include "platform/lmn/LogCapture.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

namespace orb {
namespace {

using Lines = std::vector<lmn::LogCapture::Line>;

TEST(ORBDebugLogTest, anyMessageOfAnyLevelBecomesOneTaggedLineWithItsTextUntouched) {
    std::vector<std::string> messages{"", "100 % of %s, %n and {} or {0}", "\nof\n\nseveral lines\r\n",
                                      "Küche ♫ 🔊"};
    for (const std::size_t length : {lmn::LMNLogWriter::inlineLength, std::size_t{487}, std::size_t{488},
                                     std::size_t{500}, std::size_t{100000}})
        messages.emplace_back(length, 'x');
    for (const std::string& message : messages) {
        const lmn::LogCapture log;
        ORBDebugLog(4, std::string_view(message));
        EXPECT_EQ(log.lines(), (Lines{{4, "[Orbweaver] " + message + "\n"}}));
    }
}

TEST(ORBDebugLogTest, valuesAreInsertedOnceAndNeverReadAsAFormatThemselves) {
    const lmn::LogCapture log;
    const std::string value(1000, '%');
    ORBDebugLog(1, "{}: {} s of {{}} {}", "{} %s", LogNumber{2}, value);
    EXPECT_EQ(log.lines(), (Lines{{1, "[Orbweaver] {} %s: 2.0 s of {} " + value + "\n"}}));
}

TEST(LogNumberTest, showsTheShortestDecimalAndWholeValuesWithAFraction) {
    struct Row {
        double value;
        const char* shown;
    };
    constexpr double infinity = std::numeric_limits<double>::infinity();
    for (const Row& row :
         {Row{2, "2.0"}, Row{-0.0, "-0.0"}, Row{0.1, "0.1"}, Row{44100.0, "44100.0"},
          Row{2.108190022675737, "2.108190022675737"}, Row{123456789012345, "123456789012345.0"},
          Row{1e300, "1e+300"}, Row{5e-324, "5e-324"}, Row{-infinity, "-inf"}}) {
        EXPECT_EQ(fmt::format("{}", LogNumber{row.value}), row.shown);
    }
    EXPECT_EQ(fmt::format("{}", LogNumber{std::numeric_limits<double>::quiet_NaN()}), "nan");
}

} // namespace
} // namespace orb
