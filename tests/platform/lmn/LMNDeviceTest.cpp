// SPDX-License-Identifier: MIT
#include "platform/lmn/LogCapture.h"
#include "tests/platform/lmn/LMNTestWorld.h"

#include <gmock/gmock.h>
#include <boost/json/parse.hpp>

#include <cmath>
#include <tuple>

namespace lmn {
namespace {

using testing::ElementsAre;

class LMNDeviceTest : public testing::Test {
  protected:
    /// A manager as another process of the user has it.
    LMNDeviceManager anotherManager() { return {world.runtime, realm.mainQueue()}; }

    std::shared_ptr<LMNDevice> create(const LMNVirtualDeviceConfig& config) {
        return world.manager.deviceFromArchive(world.manager.archiveFromConfig(config, false));
    }

    const LogCapture log;
    dispatch::VirtualRealm realm;
    DeviceWorld world{realm};
};

TEST_F(LMNDeviceTest, aChangeByOneProcessShowsInTheOthersOnceAndOutlivesIt) {
    LMNDeviceManager others = anotherManager();
    LMNDevice& mine = *world.device;
    const auto theirs = others.deviceWithDeviceUID("mirror", false);
    ASSERT_NE(theirs.get(), &mine);
    std::vector<double> volumes;
    std::vector<bool> mutes;
    const auto volume = theirs->volume().observe([&](double now) { volumes.push_back(now); });
    const auto mute = theirs->isMuted().observe([&](bool now) { mutes.push_back(now); });

    const boost::json::value latency = boost::json::parse(R"({"latency":[1,2.5,"x"]})");
    mine.setVolume(0.3);
    mine.setOverride(latency, "kept");
    mine.setOverride(7, "taken back");
    realm.settle();
    mine.setMuted(true);
    mine.setVolume(0.3);
    mine.setOverride(std::nullopt, "taken back");
    realm.settle();
    theirs->setVolume(0.1);
    theirs->setMuted(false);
    realm.settle();
    EXPECT_THAT(volumes, ElementsAre(0.3, 0.1));
    EXPECT_THAT(mutes, ElementsAre(true, false));
    LMNDeviceManager later = anotherManager();
    const auto restarted = later.deviceWithDeviceUID("mirror", false);
    for (LMNDevice* device : {&mine, theirs.get(), restarted.get()}) {
        EXPECT_EQ(device->volume().get(), 0.1);
        EXPECT_FALSE(device->isMuted().get());
        EXPECT_EQ(device->overrideForKey("kept"), latency);
        EXPECT_EQ(device->overrideForKey("taken back"), std::nullopt);
    }
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(LMNDeviceTest, aDamagedStateFileIsToldAndTheNextChangeCannotCrash) {
    const std::filesystem::path state = world.device->directory().path() / "state.json";
    world.device->setVolume(0.5);
    foundation::writeFile(state, "{\"volume\": 0.");
    realm.settle();
    EXPECT_EQ(world.device->volume().get(), 0.5);
    EXPECT_EQ(log.count(4, "state.json"), 1U);
    foundation::writeFile(state, R"({"volume":"loud","muted":3,"overrides":[1]})");
    realm.settle();
    EXPECT_EQ(world.device->volume().get(), 0.5);
    world.device->setOverride(1, "key");
    realm.settle();
    EXPECT_EQ(world.device->overrideForKey("key"), boost::json::value(1));
    world.device->setVolume(-7);
    EXPECT_EQ(world.device->volume().get(), 0.0);
    world.device->setVolume(std::nan(""));
    EXPECT_EQ(world.device->volume().get(), 0.0);
    foundation::writeFile(state, R"({"volume":1e300,"muted":true})");
    realm.settle();
    EXPECT_EQ(world.device->volume().get(), 1.0);
    EXPECT_TRUE(world.device->isMuted().get());
}

TEST_F(LMNDeviceTest, aDeviceIsFoundOnItsSideByThoseWhoMay) {
    const auto hidden = create({.name = "Hidden", .deviceUID = "hidden", .hidden = true});
    create({.name = "In", .deviceUID = "in", .inputChannels = 1, .outputChannels = 0});
    LMNDeviceManager others = anotherManager();
    const auto found = [](LMNDeviceManager& manager, const char* uid) {
        return std::pair(manager.deviceWithDeviceUID(uid, true) != nullptr,
                         manager.deviceWithDeviceUID(uid, false) != nullptr);
    };
    for (LMNDeviceManager* manager : {&world.manager, &others}) {
        EXPECT_EQ(found(*manager, "in"), std::pair(true, false));
        EXPECT_EQ(found(*manager, "mirror"), std::pair(false, true));
        EXPECT_EQ(found(*manager, "absent"), std::pair(false, false));
        EXPECT_EQ(found(*manager, "hidden"), std::pair(false, false));
    }
    world.manager.adoptHiddenDevice("hidden");
    EXPECT_EQ(world.manager.deviceWithDeviceUID("hidden", false), hidden);
    EXPECT_EQ(found(others, "hidden"), std::pair(false, false));
    others.allowHiddenDevice("hidden");
    EXPECT_EQ(found(others, "hidden"), std::pair(false, true));
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(LMNDeviceTest, aDamagedArchiveMakesNoDeviceAndIsTold) {
    const std::string whole = world.manager.archiveForDevice(*world.device);
    const std::string version = "\"version\":1";
    std::string later = whole;
    later.replace(whole.find(version), version.size(), "\"version\":2");
    for (const std::string& archive : {std::string("[]"), whole + "x", whole.substr(1), later})
        EXPECT_EQ(world.manager.deviceFromArchive(archive), nullptr) << archive;
    EXPECT_EQ(log.count(4, "cannot restore a device"), 4U);

    foundation::writeFile(world.device->directory().path() / "device.json", "{");
    LMNDeviceManager others = anotherManager();
    EXPECT_EQ(others.deviceWithDeviceUID("mirror", false), nullptr);
    EXPECT_EQ(log.count(4, "device \"mirror\""), 1U);
}

} // namespace
} // namespace lmn
