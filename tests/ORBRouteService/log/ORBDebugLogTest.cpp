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

/// Looks behind the text, where it is promised to be ended for those who read it as a C string.
class TerminatorWitness final : public lmn::LMNLogTarget {
  public:
    void write(LMNLogLevel, std::string_view text) noexcept override { behind_ = text.data()[text.size()]; }

    char behind() const { return behind_; }

  private:
    char behind_ = '?';
    const lmn::LMNLogInstallation installation_{*this};
};

std::vector<std::string> messages() {
    std::vector<std::string> texts{"",
                                   "plain",
                                   "100 % of %s, %n and {} or {0}",
                                   "ends in a line feed\n",
                                   "\nof\n\nseveral lines\r\n",
                                   "Küche ♫ 🔊"};
    for (const std::size_t length : {std::size_t{427}, lmn::LMNLogWriter::inlineLength, std::size_t{487},
                                     std::size_t{488}, std::size_t{500}, std::size_t{100000}})
        texts.emplace_back(length, 'x');
    return texts;
}

TEST(ORBDebugLogTest, anyMessageOfAnyLevelBecomesOneTaggedLineWithItsTextUntouched) {
    for (const std::string& message : messages()) {
        const lmn::LogCapture log;
        ORBDebugLog(4, std::string_view(message));
        EXPECT_EQ(log.lines(), (Lines{{4, "[Orbweaver] " + message + "\n"}}));
        const TerminatorWitness witness;
        ORBDebugLog(0, std::string_view(message));
        EXPECT_EQ(witness.behind(), '\0') << message.size();
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
