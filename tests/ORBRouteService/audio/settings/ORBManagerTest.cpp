// SPDX-License-Identifier: MIT
#include "platform/lmn/LogCapture.h"
#include "tests/ORBRouteService/audio/settings/SettingsFixture.h"

#include <limits>

namespace orb {
namespace {

using Journal = std::vector<std::string>;
using ORBManagerTest = SettingsFixture;

TEST_F(ORBManagerTest, aFreshSuiteShowsTheDefaultsElseThoseOfTheFileAndTellsNobodyAndWritesNothing) {
    const auto fresh = start();
    EXPECT_EQ(fresh->manager->renderLatency(), 2.0);
    EXPECT_EQ(fresh->manager->effectiveRenderLatency(), 2.0);
    EXPECT_EQ(fresh->manager->renderChunkSize(), 8192U);
    EXPECT_FALSE(fresh->manager->prioritizeSync());
    EXPECT_FALSE(fresh->manager->legacyGroupedAirPlay());
    EXPECT_FALSE(std::filesystem::exists(file));
    store(R"({"_renderLatency": 0.75, "prioritizeSync": true, "legacyGroupedAirPlay": 1})");
    const auto process = start();
    EXPECT_EQ(process->manager->renderLatency(), 0.75);
    EXPECT_TRUE(process->manager->prioritizeSync());
    EXPECT_TRUE(process->manager->legacyGroupedAirPlay());
    EXPECT_EQ(reports, Journal{});
}

TEST_F(ORBManagerTest, anotherChunkSizeIsNeverShownAndRepairedWhenItAppears) {
    store(R"({"_renderChunkSize": 4096, "other": 1})");
    const auto process = start();
    EXPECT_EQ(process->manager->renderChunkSize(), 8192U);
    EXPECT_EQ(stored(), boost::json::parse(R"({"_renderChunkSize": 8192, "other": 1})"));
    store(R"({"_renderChunkSize": 512})");
    EXPECT_EQ(told(), 0) << "the manager's own value never changed";
    EXPECT_EQ(stored(), boost::json::parse(R"({"_renderChunkSize": 8192})"));
}

TEST_F(ORBManagerTest, onlyANewValueIsWrittenUnderItsOwnKeyAndToldExactlyOnce) {
    using Set = std::function<void(ORBManager&)>;
    const std::vector<std::tuple<Set, Set, const char*>> settings{
        {[](auto& m) { m.setRenderLatency(2.0); }, [](auto& m) { m.setRenderLatency(1.25); },
         R"({"_renderLatency": 1.25})"},
        {[](auto& m) { m.setPrioritizeSync(false); }, [](auto& m) { m.setPrioritizeSync(true); },
         R"({"prioritizeSync": true})"},
        {[](auto& m) { m.setRenderChunkSize(4096), m.setRenderChunkSize(8192); },
         [](auto& m) { m.setLegacyGroupedAirPlay(true); }, R"({"legacyGroupedAirPlay": true})"},
    };
    for (const auto& [setPresent, setNew, written] : settings) {
        SCOPED_TRACE(written);
        std::filesystem::remove_all(file.parent_path());
        const auto process = start();
        setPresent(*process->manager);
        EXPECT_EQ(told(), 0);
        EXPECT_FALSE(std::filesystem::exists(file));
        setNew(*process->manager);
        EXPECT_EQ(told(), 1);
        EXPECT_EQ(stored(), boost::json::parse(written));
        setNew(*process->manager);
        EXPECT_EQ(told(), 0);
    }
}

TEST_F(ORBManagerTest, everyReloadIsToldBeforeAndAfterItAndAnOverrideIsRelayedWithoutOne) {
    const auto process = makeProcess();
    Journal seen;
    const auto didChange =
        process->center.observe(ORBConfigurationDidChange, nullptr, nullptr, [&](const auto& heardHere) {
            const auto* manager = static_cast<const ORBManager*>(heardHere.object);
            seen.push_back(fmt::format("did {}", manager->renderLatency()));
        });
    process->makeManager();
    EXPECT_EQ(std::exchange(seen, {}), Journal{"did 2"}) << "creation reloads too";
    const auto willChange = process->manager->observeObjectWillChange([&] {
        EXPECT_TRUE(process->queue.isCurrent());
        seen.push_back(fmt::format("will {}", process->manager->renderLatency()));
    });
    const auto settled = [&] {
        realm.settle();
        return std::exchange(seen, {});
    };
    EXPECT_EQ(settled(), Journal{});
    outside.post(ORBConfigurationDidChange);
    EXPECT_EQ(settled(), (Journal{"will 2", "did 2"})) << "nothing changed";
    store(R"({"_renderLatency": 1.5})");
    EXPECT_EQ(settled(), (Journal{"will 2", "did 1.5", "will 1.5", "did 1.5"}))
        << "one for the file, one for having told everybody, this process too";
    process->manager->setRenderLatency(0.5);
    EXPECT_EQ(seen, Journal{}) << "no reload yet";
    EXPECT_EQ(settled(), (Journal{"will 0.5", "did 0.5", "will 0.5", "did 0.5"}));

    told();
    const auto relay =
        process->center.observe(ORBDeviceOverrideDidChange, nullptr, nullptr, [&](const auto& heardHere) {
            EXPECT_EQ(heardHere.object, process->manager.get());
            seen.emplace_back("override");
        });
    outside.post(ORBDeviceOverrideDidChange, "AA:BB:CC:DD:EE:FF");
    EXPECT_EQ(settled(), Journal{"override"});
    process->manager->broadcastDeviceOverrideChanged();
    process->manager.reset(); // hears nothing of what is under way
    EXPECT_EQ(told(), 1) << "the broadcast is one of the configuration";
    EXPECT_EQ(seen, Journal{});
}

TEST_F(ORBManagerTest, resettingStoresEveryDefaultAndTellsIt) {
    store(
        R"({"_renderLatency": 0.5, "prioritizeSync": true, "legacyGroupedAirPlay": true, "other": "kept"})");
    const auto process = start();
    process->manager->resetDefaults();
    EXPECT_EQ(process->manager->renderLatency(), 2.0) << "at once";
    EXPECT_EQ(told(), 4) << "of the reset, and of each field that changed";
    EXPECT_EQ(stored(), boost::json::parse(R"({"_renderLatency": 2.0, "_renderChunkSize": 8192,
        "prioritizeSync": false, "legacyGroupedAirPlay": false, "other": "kept"})"));
    process->manager->resetDefaults();
    EXPECT_EQ(told(), 1);
}

TEST_F(ORBManagerTest, theReportedLatencyIsThatOfTheWholePath) {
    EXPECT_EQ(ORBManager::reportedLatency(2.0, 8192), 2.108190022675737) << "to the last bit";
    for (const auto& [latency, chunkSize, reported] :
         {std::tuple(0.0, 0U, -0.061780045351473922), std::tuple(2.0, 512U, 1.94884308390022676),
          std::tuple(2.0, 513U, 1.94886383219954649), std::tuple(-1.0, 44100U, -0.146780045351473922),
          std::tuple(2.0, 4294967295U, 89115.205225056689)})
        EXPECT_DOUBLE_EQ(ORBManager::reportedLatency(latency, chunkSize), reported) << chunkSize;
    const auto process = start();
    process->manager->setRenderLatency(0.5);
    EXPECT_DOUBLE_EQ(process->manager->reportedLatency(), 0.608190022675736961);
}

} // namespace
} // namespace orb
