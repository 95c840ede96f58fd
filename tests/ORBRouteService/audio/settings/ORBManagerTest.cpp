// SPDX-License-Identifier: MIT
#include "tests/ORBRouteService/audio/settings/SettingsFixture.h"
#include "tests/support/LogCapture.h"

#include <limits>

namespace orb {
namespace {

using Journal = std::vector<std::string>;
using ORBManagerTest = SettingsFixture;
using ORBManagerLatencyTest = SettingsFixture;

TEST_F(ORBManagerTest, aFreshSuiteShowsTheDefaultsTellsNobodyAndWritesNothing) {
    const auto process = start();
    EXPECT_EQ(process->manager->renderLatency(), 2.0);
    EXPECT_EQ(process->manager->effectiveRenderLatency(), 2.0);
    EXPECT_EQ(process->manager->renderChunkSize(), 8192U);
    EXPECT_FALSE(process->manager->prioritizeSync());
    EXPECT_FALSE(process->manager->legacyGroupedAirPlay());
    EXPECT_EQ(told(), 0);
    EXPECT_FALSE(std::filesystem::exists(file));
    EXPECT_EQ(reports, Journal{});
}

TEST_F(ORBManagerTest, theSettingsOfTheFileAreTakenOverAsTheyAre) {
    store(R"({"_renderLatency": 0.75, "prioritizeSync": true, "legacyGroupedAirPlay": 1})");
    const auto process = start();
    EXPECT_EQ(process->manager->renderLatency(), 0.75);
    EXPECT_TRUE(process->manager->prioritizeSync());
    EXPECT_TRUE(process->manager->legacyGroupedAirPlay());
    EXPECT_EQ(told(), 0) << "what was there before is no change";
}

TEST_F(ORBManagerTest, anotherChunkSizeIsNeverShownAndRepairedWhenItAppears) {
    store(R"({"_renderChunkSize": 4096, "other": 1})");
    const auto process = start();
    EXPECT_EQ(process->manager->renderChunkSize(), 8192U);
    EXPECT_EQ(process->defaults->renderChunkSize(), 8192);
    EXPECT_EQ(stored(), boost::json::parse(R"({"_renderChunkSize": 8192, "other": 1})"));
    store(R"({"_renderChunkSize": 512})");
    realm.settle();
    EXPECT_EQ(stored(), boost::json::parse(R"({"_renderChunkSize": 8192})"));
    EXPECT_EQ(told(), 0) << "the manager's own value never changed";
}

TEST_F(ORBManagerTest, onlyANewValueIsWrittenUnderItsOwnKeyAndToldExactlyOnce) {
    struct Setting {
        std::function<void(ORBManager&)> setPresent, setNew;
        std::function<bool(const ORBManager&)> isNew;
        const char* written;
    };
    const std::vector<Setting> settings{
        {[](auto& m) { m.setRenderLatency(2.0); }, [](auto& m) { m.setRenderLatency(1.25); },
         [](const auto& m) { return m.renderLatency() == 1.25; }, R"({"_renderLatency": 1.25})"},
        {[](auto& m) { m.setPrioritizeSync(false); }, [](auto& m) { m.setPrioritizeSync(true); },
         [](const auto& m) { return m.prioritizeSync(); }, R"({"prioritizeSync": true})"},
        {[](auto& m) { m.setLegacyGroupedAirPlay(false); }, [](auto& m) { m.setLegacyGroupedAirPlay(true); },
         [](const auto& m) { return m.legacyGroupedAirPlay(); }, R"({"legacyGroupedAirPlay": true})"},
    };
    for (const Setting& setting : settings) {
        std::filesystem::remove_all(file.parent_path());
        const auto process = start();
        setting.setPresent(*process->manager);
        process->manager->setRenderChunkSize(4096);
        process->manager->setRenderChunkSize(8192);
        EXPECT_EQ(told(), 0) << setting.written;
        EXPECT_FALSE(std::filesystem::exists(file)) << setting.written;
        setting.setNew(*process->manager);
        EXPECT_TRUE(setting.isNew(*process->manager)) << "not at once: " << setting.written;
        EXPECT_EQ(told(), 1) << setting.written;
        EXPECT_TRUE(setting.isNew(*process->manager)) << setting.written;
        EXPECT_EQ(stored(), boost::json::parse(setting.written));
        setting.setNew(*process->manager);
        EXPECT_EQ(told(), 0) << setting.written;
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
    outside.post(ORBDeviceOverrideDidChange);
    outside.post(ORBDeviceOverrideDidChange, "AA:BB:CC:DD:EE:FF");
    realm.settle();
    EXPECT_EQ(relayed, std::vector<const void*>(2, process->manager.get()));
    EXPECT_EQ(witness.takeSeen(), Journal{});
    process->manager->broadcastDeviceOverrideChanged();
    EXPECT_EQ(told(), 1);
    EXPECT_EQ(relayed.size(), 2U) << "the broadcast is one of the configuration";
}

TEST_F(ORBManagerTest, resettingStoresEveryDefaultAndTellsIt) {
    store(R"({"_renderLatency": 0.5, "_renderChunkSize": 8192, "prioritizeSync": true,
              "legacyGroupedAirPlay": true, "other": "kept"})");
    const auto process = start();
    process->manager->resetDefaults();
    EXPECT_EQ(process->manager->renderLatency(), 2.0) << "at once";
    EXPECT_FALSE(process->manager->prioritizeSync());
    EXPECT_FALSE(process->manager->legacyGroupedAirPlay());
    EXPECT_EQ(told(), 4) << "of the reset, and of each field that changed";
    const auto defaults = boost::json::parse(R"({"_renderLatency": 2.0, "_renderChunkSize": 8192,
        "prioritizeSync": false, "legacyGroupedAirPlay": false, "other": "kept"})");
    EXPECT_EQ(stored(), defaults);
    process->manager->resetDefaults();
    EXPECT_EQ(told(), 1);
    std::filesystem::remove(file);
    realm.settle();
    process->manager->resetDefaults();
    EXPECT_EQ(stored().as_object().size(), 4U) << "defaults are stored even where none are";
}

TEST_F(ORBManagerTest, aManagerThatIsGoneHearsNothingOfWhatIsUnderWay) {
    const auto process = start();
    Witness witness(*process);
    outside.post(ORBConfigurationDidChange);
    outside.post(ORBDeviceOverrideDidChange);
    process->defaults->setRenderLatency(1.5);
    process->manager.reset();
    realm.settle();
    EXPECT_EQ(witness.takeSeen(), Journal{});
    EXPECT_EQ(told(), 1) << "of the post above alone";
}

TEST_F(ORBManagerLatencyTest, numbersThatAreNotFiniteAreRefusedWithALogLine) {
    const auto process = start();
    for (const double refused :
         {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(),
          -std::numeric_limits<double>::infinity()}) {
        const lmn::LogCapture log;
        process->manager->setRenderLatency(refused);
        EXPECT_EQ(process->manager->renderLatency(), 2.0);
        EXPECT_EQ(log.count(4, "2.0 s is kept"), 1U);
        EXPECT_EQ(log.lines().size(), 1U);
    }
    EXPECT_EQ(told(), 0);
    EXPECT_FALSE(std::filesystem::exists(file));
}

TEST_F(ORBManagerLatencyTest, theReportedLatencyIsThatOfTheWholePath) {
    struct Row {
        double latency;
        std::uint32_t chunkSize;
        double reported;
    };
    EXPECT_EQ(ORBManager::reportedLatency(2.0, 8192), 2.108190022675737) << "to the last bit";
    for (const Row& row : {Row{0, 0, -0.061780045351473922}, Row{2, 0, 1.938219954648526078},
                           Row{2, 512, 1.94884308390022676}, Row{2, 513, 1.94886383219954649},
                           Row{2, 4096, 2.02320498866213152}, Row{0.5, 8192, 0.608190022675736961},
                           Row{-1, 44100, -0.146780045351473922}, Row{2, 4294967295, 89115.205225056689}}) {
        EXPECT_DOUBLE_EQ(ORBManager::reportedLatency(row.latency, row.chunkSize), row.reported)
            << row.chunkSize;
    }
    const auto process = start();
    EXPECT_EQ(process->manager->reportedLatency(), 2.108190022675737);
    process->manager->setRenderLatency(0.5);
    EXPECT_DOUBLE_EQ(process->manager->reportedLatency(), 0.608190022675736961);
}

} // namespace
} // namespace orb
