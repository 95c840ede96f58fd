// SPDX-License-Identifier: MIT
#include "tests/platform/lmn/LMNTestWorld.h"
#include "tests/support/LogCapture.h"

#include <gmock/gmock.h>
#include <boost/json/parse.hpp>

#include <limits>

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

TEST_F(LMNDeviceTest, aChangeByOneProcessShowsInTheOthersAndIsTakenForNewOnce) {
    LMNDeviceManager others = anotherManager();
    LMNDevice& mine = *world.device;
    const auto theirs = others.deviceWithDeviceUID("mirror", false);
    ASSERT_NE(theirs.get(), &mine);
    std::vector<double> volumes;
    std::vector<bool> mutes;
    const auto volume = theirs->volume().observe([&](double now) { volumes.push_back(now); });
    const auto mute = theirs->isMuted().observe([&](bool now) { mutes.push_back(now); });

    mine.setVolume(0.3);
    realm.settle();
    mine.setMuted(true);
    mine.setVolume(0.3);
    realm.settle();
    theirs->setVolume(0.1);
    theirs->setMuted(false);
    realm.settle();
    EXPECT_THAT(volumes, ElementsAre(0.3, 0.1));
    EXPECT_THAT(mutes, ElementsAre(true, false));
    EXPECT_EQ(mine.volume().get(), 0.1);
    EXPECT_FALSE(mine.isMuted().get());
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(LMNDeviceTest, stateAndOverridesOutliveTheProcess) {
    world.device->setVolume(0.25);
    world.device->setMuted(true);
    world.device->setOverride(boost::json::parse(R"({"latency":[1,2.5,"x"]})"), "first key");
    world.device->setOverride(7, "second");
    world.device->setOverride(std::nullopt, "second");
    LMNDeviceManager later = anotherManager();
    const auto device = later.deviceWithDeviceUID("mirror", false);
    EXPECT_EQ(device->volume().get(), 0.25);
    EXPECT_TRUE(device->isMuted().get());
    EXPECT_EQ(device->overrideForKey("first key"), boost::json::parse(R"({"latency":[1,2.5,"x"]})"));
    EXPECT_EQ(device->overrideForKey("second"), std::nullopt);

    device->setOverride("theirs", "third");
    realm.settle();
    EXPECT_EQ(world.device->overrideForKey("third"), boost::json::value("theirs"));
}

TEST_F(LMNDeviceTest, volumesStayBetweenNothingAndFull) {
    world.device->setVolume(7);
    EXPECT_EQ(world.device->volume().get(), 1.0);
    world.device->setVolume(-std::numeric_limits<double>::infinity());
    world.device->setVolume(std::numeric_limits<double>::quiet_NaN());
    EXPECT_EQ(world.device->volume().get(), 1.0);
    world.device->setVolume(-7);
    EXPECT_EQ(world.device->volume().get(), 0.0);
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
    foundation::writeFile(state, R"({"volume":1e300,"muted":true})");
    realm.settle();
    EXPECT_EQ(world.device->volume().get(), 1.0);
    EXPECT_TRUE(world.device->isMuted().get());
}

TEST_F(LMNDeviceTest, anArchiveMakesTheSameDeviceInEveryProcess) {
    const LMNVirtualDeviceConfig config{.name = "A \"name\" / ü",
                                        .deviceUID = "../uid with/slashes",
                                        .hidden = true,
                                        .isAirPlay = true,
                                        .inputChannels = 1,
                                        .outputChannels = 32};
    const auto device = create(config);
    ASSERT_NE(device, nullptr);
    LMNDeviceManager others = anotherManager();
    const auto theirs = others.deviceFromArchive(world.manager.archiveForDevice(*device));
    ASSERT_NE(theirs, nullptr);
    EXPECT_EQ(theirs->name(), config.name);
    EXPECT_EQ(theirs->deviceUID(), config.deviceUID);
    EXPECT_TRUE(theirs->config().hidden);
    EXPECT_TRUE(theirs->isAirPlay());
    EXPECT_EQ(theirs->config().inputChannels, 1U);
    EXPECT_EQ(theirs->channelCount(), 32U);
    EXPECT_EQ(theirs->directory().path(), device->directory().path());
    EXPECT_EQ(others.archiveForDevice(*theirs), world.manager.archiveForDevice(*device));
    EXPECT_EQ(create(config), device) << "one object per device and process";
}

TEST_F(LMNDeviceTest, aHiddenDeviceIsFoundByThoseOnlyThatWereAllowed) {
    const auto device = create({.name = "Hidden", .deviceUID = "hidden", .hidden = true});
    LMNDeviceManager others = anotherManager();
    for (LMNDeviceManager* manager : {&world.manager, &others}) {
        EXPECT_EQ(manager->deviceWithDeviceUID("hidden", false), nullptr);
    }
    world.manager.adoptHiddenDevice("hidden");
    EXPECT_EQ(world.manager.deviceWithDeviceUID("hidden", false), device);
    EXPECT_EQ(others.deviceWithDeviceUID("hidden", false), nullptr);
    others.allowHiddenDevice("hidden");
    EXPECT_NE(others.deviceWithDeviceUID("hidden", false), nullptr);
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(LMNDeviceTest, aDeviceIsFoundOnTheSidesThatHaveChannels) {
    create({.name = "In", .deviceUID = "in", .inputChannels = 1, .outputChannels = 0});
    EXPECT_NE(world.manager.deviceWithDeviceUID("in", true), nullptr);
    EXPECT_EQ(world.manager.deviceWithDeviceUID("in", false), nullptr);
    EXPECT_NE(world.manager.deviceWithDeviceUID("mirror", false), nullptr);
    EXPECT_EQ(world.manager.deviceWithDeviceUID("mirror", true), nullptr);
    EXPECT_EQ(world.manager.deviceWithDeviceUID("absent", true), nullptr);
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(LMNDeviceTest, aDeviceOfTheSystemIsFoundWhileItIsListedAndStoredByNobody) {
    const LMNVirtualDeviceConfig config{.name = "Group", .deviceUID = "AirPlay::G", .isAirPlay = true};
    std::vector<LMNVirtualDeviceConfig> listed{config};
    world.manager.setSystemDevices([&] { return listed; });
    const auto refresh = [&] { realm.mainQueue().sync([&] { world.manager.needsDevicesUpdate(); }); };
    EXPECT_EQ(world.manager.deviceWithDeviceUID("AirPlay::G", false), nullptr) << "not refreshed yet";
    refresh();
    const auto device = world.manager.deviceWithDeviceUID("AirPlay::G", false);
    ASSERT_NE(device, nullptr);
    EXPECT_EQ(world.manager.deviceWithDeviceUID("AirPlay::G", true), nullptr);
    device->setVolume(0.5);

    LMNDeviceManager others = anotherManager();
    const auto theirs = others.deviceFromArchive(world.manager.archiveForDevice(*device));
    ASSERT_NE(theirs, nullptr);
    EXPECT_EQ(theirs->volume().get(), 0.5);
    EXPECT_EQ(others.deviceWithDeviceUID("AirPlay::G", false), nullptr) << "their system lists none";
    listed.clear();
    EXPECT_EQ(world.manager.deviceWithDeviceUID("AirPlay::G", false), device) << "until the next refresh";
    refresh();
    EXPECT_EQ(world.manager.deviceWithDeviceUID("AirPlay::G", false), nullptr);
}

TEST_F(LMNDeviceTest, aDamagedArchiveMakesNoDeviceAndIsTold) {
    const std::string whole = world.manager.archiveForDevice(*world.device);
    std::vector<std::string> archives = {"[]", "{}", "null", whole + "x", std::string("\0\xFF", 2)};
    for (std::size_t length = 0; length < whole.size(); ++length) {
        archives.push_back(whole.substr(0, length));
    }
    const auto replaced = [&](const std::string& part, const std::string& by) {
        std::string archive = whole;
        const std::size_t at = archive.find(part);
        EXPECT_NE(at, std::string::npos) << part;
        return archive.replace(at, part.size(), by);
    };
    archives.push_back(replaced("\"version\":1", "\"version\":2"));
    archives.push_back(replaced("\"mirror\"", "\"\""));
    archives.push_back(replaced("\"mirror\"", "5"));
    archives.push_back(replaced("\"outputChannels\":2", "\"outputChannels\":33"));
    archives.push_back(replaced("\"outputChannels\":2", "\"outputChannels\":-1"));
    archives.push_back(replaced("\"hidden\":false", "\"hidden\":0"));
    for (const std::string& archive : archives) {
        EXPECT_EQ(world.manager.deviceFromArchive(archive), nullptr) << archive;
    }
    EXPECT_EQ(log.count(4, "cannot restore a device"), archives.size());

    foundation::writeFile(world.device->directory().path() / "device.json", "{");
    LMNDeviceManager others = anotherManager();
    EXPECT_EQ(others.deviceWithDeviceUID("mirror", false), nullptr);
    EXPECT_EQ(log.count(4, "device \"mirror\""), 1U);
}

} // namespace
} // namespace lmn
