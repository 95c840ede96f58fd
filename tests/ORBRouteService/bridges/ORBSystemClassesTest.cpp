// SPDX-License-Identifier: MIT
#include "ORBRouteService/bridges/ORBSystemClasses.h"

#include "platform/lmn/LMNLog.h"
#include "tests/ORBRouteService/bridges/OutputsFixture.h"

#include <fmt/format.h>

namespace orb {
namespace {

/// The log goes to standard error, where a death test looks.
class LogToStandardError final : public lmn::LMNLogTarget {
  public:
    void write(lmn::LMNLogLevel level, std::string_view text) noexcept override {
        fmt::print(stderr, "{} {}", level, text);
    }
};

using ORBSystemClassesDeathTest = OutputsFixture;

TEST_F(ORBSystemClassesDeathTest, aClassThatIsMissingOrOfAnotherKindEndsTheProcessByItsName) {
    LogToStandardError target;
    avfoundation::AVOutputDeviceClass deviceClass;
    const lmn::LMNLogInstallation installation(target);
    for (const std::string missing :
         {"AVOutputDevice", "AVOutputContext", "AVRoutePickerRemoteViewController"}) {
        foundation::ClassRegistry lacking;
        for (const bool isOfAnotherKind : {false, true}) {
            if (missing != "AVOutputDevice")
                lacking.add("AVOutputDevice", deviceClass);
            if (missing != "AVOutputContext")
                lacking.add("AVOutputContext", *contexts);
            if (isOfAnotherKind)
                lacking.add(missing, notifications);
            ORBSystemClasses classes(lacking);
            EXPECT_EXIT(classes.resolveAll(), testing::ExitedWithCode(70),
                        "4 \\[Orbweaver\\] The system class \"" + missing + "\"");
        }
    }
}

} // namespace
} // namespace orb
