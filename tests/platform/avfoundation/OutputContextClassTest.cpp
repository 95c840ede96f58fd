// SPDX-License-Identifier: MIT
#include "platform/avfoundation/AVOutputContextClass.h"
#include "tests/platform/avfoundation/World.h"
#include "tests/platform/foundation/TemporaryDirectory.h"

#include <gtest/gtest.h>

namespace avfoundation {
namespace {

using namespace std::chrono_literals;

class OutputContextClassTest : public testing::Test, public World {
  public:
    ~OutputContextClassTest() override {
        onMain([&] { contexts.reset(); });
    }

    airplay::Route& sharedRoute() { return contexts->defaultSharedOutputContext()->route(); }

    /// The associated audio device of the default shared context.
    std::optional<std::string> associated() {
        return contexts->defaultSharedOutputContext()->associatedAudioDeviceID();
    }

    const foundation::TemporaryDirectory root;
    lmn::LMNDeviceManager manager{foundation::RuntimeDirectory(root.path()), realm.mainQueue()};
    std::optional<AVOutputContextClass> contexts{std::in_place,
                                                 AVOutputContextClassParts{system, center, nullptr, manager}};
};

TEST_F(OutputContextClassTest, sharedContextsAreOneEachAndTheOthersNewAndFoundWhileTheyLive) {
    using Operation = AVOutputContextClass::Context (AVOutputContextClass::*)();
    std::vector<AVOutputContextClass::Context> seen;
    const auto check = [&](Operation operation, bool isShared) {
        const auto made = ((*contexts).*operation)();
        EXPECT_EQ(((*contexts).*operation)() == made, isShared) << made->outputContextType();
        EXPECT_EQ(std::ranges::count(seen, made), 0);
        EXPECT_EQ(contexts->outputContextForID(made->ID()), made);
        EXPECT_TRUE(made->supportsMultipleOutputDevices());
        seen.push_back(made);
    };
    onMain([&] {
        check(&AVOutputContextClass::init, false);
        check(&AVOutputContextClass::sharedAudioPresentationOutputContext, true);
        check(&AVOutputContextClass::auxiliaryOutputContext, false);
        check(&AVOutputContextClass::defaultSharedOutputContext, true);
        check(&AVOutputContextClass::sharedSystemAudioContext, true);
        check(&AVOutputContextClass::iTunesAudioContext, true);
        check(&AVOutputContextClass::outputContext, false);
        const std::string gone = seen.back()->ID();
        seen.clear();
        EXPECT_EQ(contexts->outputContextForID(gone), nullptr);
    });
}

TEST_F(OutputContextClassTest, aGroupIsFoundByTheContextThatItsReceiversAreIn) {
    onMain([&] {
        const auto made = contexts->outputContext();
        EXPECT_EQ(contexts->outputContextForControllingOutputDeviceGroupWithID("G"), nullptr);
        made->route().connect(makeReceiver("A", recording));
        EXPECT_EQ(contexts->outputContextForControllingOutputDeviceGroupWithID("G"), made);
        EXPECT_EQ(contexts->outputContextForControllingOutputDeviceGroupWithID("A"), nullptr);
    });
}

TEST_F(OutputContextClassTest, theAssociatedAudioDeviceComesAQuarterSecondAfterTheFirstAndGoesWithTheLast) {
    const auto first = makeReceiver("A", recording);
    const auto second = makeReceiver("B", recording);
    onMain([&] { sharedRoute().connect(first); });
    realm.advanceBy(200ms);
    onMain([&] {
        sharedRoute().disconnect(first);
        sharedRoute().connect(second);
    });
    realm.advanceBy(250ms - 1ns);
    EXPECT_EQ(associated(), std::nullopt) << "the time begins anew";
    realm.advanceBy(1ns);
    EXPECT_EQ(associated(), "AirPlay::G");
    onMain([&] {
        sharedRoute().connect(first);
        sharedRoute().disconnect(second);
    });
    EXPECT_EQ(associated(), "AirPlay::G") << "one is left";
    onMain([&] { sharedRoute().disconnect(first); });
    EXPECT_EQ(associated(), std::nullopt);
    auto auxiliary = contexts->auxiliaryOutputContext();
    onMain([&] { auxiliary->route().connect(first); });
    realm.advanceBy(1s);
    EXPECT_EQ(auxiliary->associatedAudioDeviceID(), std::nullopt);
    onMain([&] { auxiliary.reset(); });
}

} // namespace
} // namespace avfoundation
