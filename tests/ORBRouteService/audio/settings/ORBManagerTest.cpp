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

/// Notes, on the manager's behalf, what its observers see, with the latency that they find.
class Witness {
  public:
    explicit Witness(SettingsProcess& process) : process_(process) {
        didChange_ =
            process.center.observe(ORBConfigurationDidChange, nullptr, nullptr, [this](const auto& heard) {
                EXPECT_EQ(heard.object, creating_ ? heard.object : process_.manager.get());
                note("did", heard.object);
            });
    }

    void create() {
        process_.makeManager();
        creating_ = false;
        willChange_ = process_.manager->observeObjectWillChange([this] {
            EXPECT_TRUE(process_.queue.isCurrent());
            note("will", process_.manager.get());
        });
    }

    Journal takeSeen() { return std::exchange(seen_, {}); }

  private:
    void note(const char* what, const void* object) {
        seen_.push_back(fmt::format("{} {}", what, static_cast<const ORBManager*>(object)->renderLatency()));
    }

    SettingsProcess& process_;
    bool creating_ = process_.manager == nullptr;
    Journal seen_;
    foundation::Subscription didChange_;
    foundation::Subscription willChange_;
};

TEST_F(ORBManagerTest, everyReloadAnnouncesItselfBeforeTheValuesChangeAndEndsInOneNotification) {
    const auto process = makeProcess();
    Witness witness(*process);
    witness.create();
    EXPECT_EQ(witness.takeSeen(), Journal{"did 2"}) << "creation reloads too";
    realm.settle();
    EXPECT_EQ(witness.takeSeen(), Journal{});

    outside.post(ORBConfigurationDidChange);
    realm.settle();
    EXPECT_EQ(witness.takeSeen(), (Journal{"will 2", "did 2"})) << "nothing changed";

    store(R"({"_renderLatency": 1.5})");
    realm.settle();
    EXPECT_EQ(witness.takeSeen(), (Journal{"will 2", "did 1.5", "will 1.5", "did 1.5"}))
        << "one for the file, one for having told everybody, this process too";

    process->manager->setRenderLatency(0.5);
    EXPECT_EQ(witness.takeSeen(), Journal{}) << "no reload yet";
    realm.settle();
    EXPECT_EQ(witness.takeSeen(), (Journal{"will 0.5", "did 0.5", "will 0.5", "did 0.5"}));
}

TEST_F(ORBManagerTest, aChangedOverrideIsRelayedInTheProcessWithoutAReload) {
    const auto process = start();
    std::vector<const void*> relayed;
    const auto relay =
        process->center.observe(ORBDeviceOverrideDidChange, nullptr, nullptr,
                                [&](const auto& heardHere) { relayed.push_back(heardHere.object); });
    Witness witness(*process);
    outside.post(ORBDeviceOverrideDidChange, "AA:BB:CC:DD:EE:FF");
    realm.settle();
    EXPECT_EQ(relayed, std::vector<const void*>{process->manager.get()});
    EXPECT_EQ(witness.takeSeen(), Journal{});
    process->manager->broadcastDeviceOverrideChanged();
    process->manager.reset(); // hears nothing of what is under way
    EXPECT_EQ(told(), 1) << "the broadcast is one of the configuration";
    EXPECT_EQ(witness.takeSeen(), Journal{});
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
