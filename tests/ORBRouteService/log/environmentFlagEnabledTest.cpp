// SPDX-License-Identifier: MIT
#include "ORBRouteService/log/environmentFlagEnabled.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace orb {
namespace {

constexpr const char* variable = "ORB_TEST_FLAG";

TEST(EnvironmentFlagEnabledTest, onlyTheFourWordsInAnyCaseAndAnyWhiteSpaceAroundSwitchOn) {
    for (const char* on : {"1", "true", "yes", "on", "TRUE", "On", "yEs", " YES \n", "\t\r\n on", "1\v\f"}) {
        setenv(variable, on, 1);
        EXPECT_TRUE(environmentFlagEnabled(variable)) << '"' << on << '"';
    }
    for (const char* off : {"", " ", "\n\t", "0", "2", "11", "1 1", "y", "t", "no", "off", "false", "enabled",
                            "tru e", "yes!", "'on'", "o\xC3\xB1"}) {
        setenv(variable, off, 1);
        EXPECT_FALSE(environmentFlagEnabled(variable)) << '"' << off << '"';
    }
    unsetenv(variable);
    EXPECT_FALSE(environmentFlagEnabled(variable));
}

} // namespace
} // namespace orb
