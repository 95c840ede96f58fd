// SPDX-License-Identifier: MIT
#include "ORBRouteService/bridges/ORBSystemClasses.h"

#include "platform/lmn/LMNLog.h"
#include "tests/ORBRouteService/bridges/OutputsFixture.h"

#include <fmt/format.h>

namespace orb {
namespace {

class NoReceivers final : public airplay::Discovery {
  public:
    std::unique_ptr<Search> search(std::function<void(const Receivers&)>) override {
        return std::make_unique<Search>();
    }
};

/// The log goes to standard error, where a death test looks.
class LogToStandardError final : public lmn::LMNLogTarget {
  public:
    void write(lmn::LMNLogLevel level, std::string_view text) noexcept override {
        fmt::print(stderr, "{} {}", level, text);
    }
};

class ORBSystemClassesTest : public OutputsFixture {
  protected:
    NoReceivers discovery;
    avfoundation::AVOutputDeviceClass deviceClass;
    avkit::AVRoutePickerRemoteViewControllerClass pickers{
        {.mainQueue = realm.mainQueue(), .discovery = discovery}};
};

TEST_F(ORBSystemClassesTest, aPickerComesThroughItsBridgeAndTakesTheContextBehindTheServices) {
    foundation::ClassRegistry registry;
    registry.add("AVOutputDevice", deviceClass);
    registry.add("AVOutputContext", *contexts);
    registry.add("AVRoutePickerRemoteViewController", pickers);
    ORBSystemClasses classes(registry);
    std::shared_ptr<AVRoutePickerRemoteViewControllerProtocol> picker;
    onMain([&] {
        classes.routePickerClass().requestViewController([&](auto controller) { picker = controller; });
    });
    realm.advanceBy(std::chrono::seconds(1));
    ASSERT_NE(picker, nullptr);
    onMain([&] {
        const auto context = classes.outputContextClass().defaultSharedOutputContext();
        const auto system = contexts->defaultSharedOutputContext();
        const auto held = system.use_count();
        picker->setOutputContext(context);
        EXPECT_EQ(system.use_count(), held + 1);
        picker->setOutputContext(nullptr);
        EXPECT_EQ(system.use_count(), held);
        EXPECT_NE(picker->viewController(), nullptr);
        picker.reset();
    });
}

using ORBSystemClassesDeathTest = ORBSystemClassesTest;

TEST_F(ORBSystemClassesDeathTest, aClassThatIsMissingOrOfAnotherKindEndsTheProcessByItsName) {
    LogToStandardError target;
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
                lacking.add(missing, discovery);
            ORBSystemClasses classes(lacking);
            EXPECT_EXIT(classes.resolveAll(), testing::ExitedWithCode(70),
                        "4 \\[Orbweaver\\] The system class \"" + missing + "\"");
        }
    }
}

} // namespace
} // namespace orb
