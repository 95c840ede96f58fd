// SPDX-License-Identifier: MIT
#include "platform/dispatch/virtual/VirtualRealm.h"
#include "platform/foundation/JsonFile.h"
#include "platform/foundation/UserDefaults.h"
#include "tests/platform/foundation/TemporaryDirectory.h"

#include <sys/stat.h>

#include <limits>
#include <vector>

namespace foundation {
namespace {

namespace fs = std::filesystem;
using Journal = std::vector<std::string>;

class UserDefaultsTest : public testing::Test {
  protected:
    UserDefaultsTest() {
        observer = center.observe(userDefaultsDidChangeNotification, nullptr, nullptr,
                                  [this](const Notification& n) {
                                      EXPECT_TRUE(realm.mainQueue().isCurrent());
                                      ++posts[n.object];
                                  });
    }

    std::unique_ptr<UserDefaults> open() {
        auto defaults = UserDefaults::open("suite", {realm.mainQueue(), center, root / "new/config",
                                                     [this](std::string line) { reports.push_back(line); }});
        realm.settle();
        return defaults;
    }

    /// Posts for a store since the last time asked.
    int postsOf(const std::unique_ptr<UserDefaults>& defaults) {
        realm.settle();
        return std::exchange(posts[defaults.get()], 0);
    }

    void put(const std::string& text) {
        fs::create_directories(file.parent_path());
        writeFile(file, text);
    }

    const TemporaryDirectory root;
    const fs::path file = root / "new/config/suite.json";
    dispatch::VirtualRealm realm;
    NotificationCenter center;
    std::map<const void*, int> posts;
    Subscription observer;
    Journal reports;
};

TEST_F(UserDefaultsTest, aNameThatIsNoFileNameOpensNothing) {
    const UserDefaultsContext context{realm.mainQueue(), center, root.path(), [](const std::string&) {}};
    for (const std::string& name : {std::string(), std::string("a/b"), std::string(".."), std::string(".x"),
                                    std::string("a\nb"), std::string("a\0b", 3), std::string(201, 'x')}) {
        EXPECT_EQ(UserDefaults::open(name, context), nullptr) << name;
    }
    EXPECT_NE(UserDefaults::open(std::string(200, 'x'), context), nullptr);
}

TEST_F(UserDefaultsTest, aChangeIsSeenAtOnceByItsStoreAndThenOnceByEveryOther) {
    const auto here = open();
    const auto there = open();
    here->setDouble("volume", 0.5);
    EXPECT_EQ(here->doubleForKey("volume"), 0.5);
    EXPECT_EQ(posts[here.get()], 0) << "posted inside of the setter";
    EXPECT_EQ(postsOf(here), 1);
    EXPECT_EQ(postsOf(there), 1);
    EXPECT_EQ(there->doubleForKey("volume"), 0.5);

    there->setDouble("volume", 0.5);
    writeFile(file, readFile(file) + "\n\n");
    EXPECT_EQ(postsOf(here) + postsOf(there), 0) << "nothing changed";

    there->removeObject("volume");
    EXPECT_EQ(there->objectForKey("volume"), std::nullopt);
    EXPECT_EQ(postsOf(there), 1);
    EXPECT_EQ(here->objectForKey("volume"), std::nullopt);
    fs::remove(file);
    EXPECT_EQ(postsOf(here), 1) << "of the removal of the value, not of the empty file";
}

TEST_F(UserDefaultsTest, aWriteKeepsWhatItDoesNotKnowAndWhatCameInBetween) {
    put(R"({"list": [1, {"x": null}], "old": 1})");
    const auto defaults = open();
    put(R"({"list": [1, {"x": null}], "old": 1, "foreign": "new"})");
    defaults->setBool("mine", true);
    EXPECT_EQ(defaults->stringForKey("foreign"), "new") << "a write shows what it met";
    EXPECT_EQ(JsonFile(file).read(),
              boost::json::parse(R"({"list":[1,{"x":null}],"old":1,"foreign":"new","mine":true})"));
    EXPECT_EQ(postsOf(defaults), 1);
}

struct Conversion {
    const char* stored;
    std::optional<double> asDouble;
    std::optional<std::int64_t> asInteger;
    std::optional<bool> asBool;
    std::optional<std::string> asString;
};

/// Registered defaults of a kind of their own show where a value does not convert.
TEST_F(UserDefaultsTest, valuesConvertOrGiveWayToTheRegisteredDefaultWithOneReport) {
    using std::nullopt;
    const std::vector<Conversion> conversions{
        {"true", 1.0, 1, true, "1"},
        {"-3", -3.0, -3, true, "-3"},
        {"-2.75", -2.75, -2, true, "-2.75"},
        {"0.0", 0.0, 0, false, "0"},
        {"1e300", 1e300, nullopt, true, "1e+300"},
        {"18446744073709551615", 18446744073709551616.0, nullopt, true, "1.8446744073709552e+19"},
        {"1e999", nullopt, nullopt, nullopt, nullopt},
        {R"("9223372036854775807")", 9223372036854775808.0, std::numeric_limits<std::int64_t>::max(), true,
         "9223372036854775807"},
        {R"("0.5")", 0.5, 0, true, "0.5"},
        {R"("YES")", nullopt, nullopt, true, "YES"},
        {R"("false")", nullopt, nullopt, false, "false"},
        {R"("1x")", nullopt, nullopt, nullopt, "1x"},
        {R"("inf")", nullopt, nullopt, nullopt, "inf"},
        {R"("")", nullopt, nullopt, nullopt, ""},
        {"null", nullopt, nullopt, nullopt, nullopt},
        {"[1]", nullopt, nullopt, nullopt, nullopt},
    };
    for (const auto& row : conversions) {
        put(std::string(R"({"key": )") + row.stored + "}");
        reports.clear();
        const auto defaults = open();
        defaults->registerDefaults({{"key", std::int64_t{77}}});
        for (int round = 0; round < 2; ++round) {
            EXPECT_EQ(defaults->doubleForKey("key"), row.asDouble.value_or(77)) << row.stored;
            EXPECT_EQ(defaults->integerForKey("key"), row.asInteger.value_or(77)) << row.stored;
            EXPECT_EQ(defaults->boolForKey("key"), row.asBool.value_or(true)) << row.stored;
            EXPECT_EQ(defaults->stringForKey("key"), row.asString.value_or("77")) << row.stored;
        }
        EXPECT_EQ(reports.size(), std::size_t(!row.asDouble + !row.asInteger + !row.asBool + !row.asString))
            << row.stored;
        for (const std::string& report : reports) {
            EXPECT_TRUE(report.starts_with("preferences suite suite: key: found ")) << report;
        }
    }
}

TEST_F(UserDefaultsTest, aValueOfTheRightKindHidesTheRegisteredOneUntilItIsRemoved) {
    const auto defaults = open();
    defaults->registerDefaults({{"a", 1.5}, {"b", "text"}});
    defaults->registerDefaults({{"a", 2.5}});
    EXPECT_EQ(defaults->doubleForKey("a"), 2.5);
    EXPECT_EQ(defaults->objectForKey("b"), PreferenceValue("text"));
    defaults->setInteger("a", 0);
    EXPECT_EQ(defaults->objectForKey("a"), PreferenceValue(std::int64_t{0}));
    defaults->removeObject("a");
    EXPECT_EQ(defaults->doubleForKey("a"), 2.5);
    EXPECT_EQ(readFile(file).find("text"), std::string::npos) << "registered defaults were written";
    defaults->setDouble("a", std::numeric_limits<double>::quiet_NaN());
    EXPECT_EQ(defaults->doubleForKey("a"), 2.5);
    EXPECT_EQ(reports.size(), 1U);
}

TEST_F(UserDefaultsTest, aDamagedFileStaysUntilTheFirstWriteAndIsThenKeptUnderAnotherName) {
    for (const std::string& damage : {std::string("{\"volume\": 0.7,,}"), std::string("[1]"), std::string(),
                                      std::string(40, '['), std::string(1100000, ' ') + "{}"}) {
        put(damage);
        writeFile(file.string() + ".damaged-1", "an earlier one");
        reports.clear();
        auto defaults = open();
        defaults->registerDefaults({{"volume", 0.25}});
        EXPECT_EQ(defaults->doubleForKey("volume"), 0.25);
        EXPECT_EQ(reports.size(), 1U);
        EXPECT_EQ(readFile(file), damage) << "changed by reading";

        defaults->setBool("muted", true);
        EXPECT_EQ(readFile(file.string() + ".damaged-1"), "an earlier one");
        EXPECT_EQ(readFile(file.string() + ".damaged-2"), damage);
        EXPECT_EQ(JsonFile(file).read(), (boost::json::value{{"muted", true}}));
        ASSERT_EQ(reports.size(), 2U);
        EXPECT_NE(reports[1].find(".damaged-2"), std::string::npos) << reports[1];
        fs::remove(file.string() + ".damaged-2");
    }
}

TEST_F(UserDefaultsTest, aFileDamagedWhileOpenEndsInDefaultsAndARepairIsNoticed) {
    put(R"({"volume": 0.5})");
    const auto defaults = open();
    put("{");
    EXPECT_EQ(postsOf(defaults), 1);
    EXPECT_EQ(defaults->objectForKey("volume"), std::nullopt);
    put("{ ");
    put(R"({"volume": 0.5})");
    EXPECT_EQ(postsOf(defaults), 1);
    EXPECT_EQ(defaults->doubleForKey("volume"), 0.5);
    EXPECT_EQ(reports.size(), 1U);
}

/// By mode, by kind, and by a lock that cannot be had: root is not bound by the modes of directories.
TEST_F(UserDefaultsTest, whatCannotBeWrittenIsReportedLeftUntouchedAndHoldsForThisProcess) {
    const std::vector<std::function<void()>> obstacles{
        [&] { put(R"({"old": 1})"), chmod(file.c_str(), 0400); },
        [&] { put(R"({"old": 1})"), chmod(file.c_str(), 0); },
        [&] { put("damaged"), chmod(file.c_str(), 0400); },
        [&] { fs::create_directories(file / "in the way"); },
        [&] { fs::create_directories(file.string() + ".lock"); },
    };
    for (const auto& obstruct : obstacles) {
        fs::remove_all(file.parent_path());
        obstruct();
        const bool isFile = fs::is_regular_file(file);
        const auto before = isFile ? readFile(file) : "";
        const auto writtenAt = isFile ? fs::last_write_time(file) : fs::file_time_type();
        const auto defaults = open();
        reports.clear();
        defaults->setDouble("volume", 0.5);
        EXPECT_EQ(defaults->doubleForKey("volume"), 0.5);
        EXPECT_EQ(postsOf(defaults), 1);
        ASSERT_EQ(reports.size(), 1U);
        EXPECT_NE(reports[0].find("not saved (volume): "), std::string::npos) << reports[0];
        EXPECT_FALSE(fs::exists(file.string() + ".damaged-1"));
        if (isFile) {
            EXPECT_EQ(readFile(file), before);
            EXPECT_EQ(fs::last_write_time(file), writtenAt);
        }
    }
}

TEST_F(UserDefaultsTest, whatCouldNotBeWrittenGoesOutWithTheNextChangeUnlessSomebodyWasThereFirst) {
    for (const bool noticesBeforeTheNextChange : {true, false}) {
        fs::remove_all(file.parent_path());
        put("{}");
        chmod(file.c_str(), 0400);
        const auto defaults = open();
        defaults->setInteger("a", 1);
        defaults->setInteger("b", 1);
        chmod(file.c_str(), 0600);
        put(R"({"b": 2})");
        if (noticesBeforeTheNextChange) {
            realm.settle();
            EXPECT_EQ(defaults->integerForKey("b"), 2);
        }
        EXPECT_EQ(defaults->integerForKey("a"), 1);
        defaults->setInteger("c", 3);
        EXPECT_EQ(defaults->integerForKey("b"), 2);
        EXPECT_EQ(JsonFile(file).read(), boost::json::parse(R"({"a":1,"b":2,"c":3})"));
        EXPECT_EQ(postsOf(defaults), noticesBeforeTheNextChange ? 4 : 3);
    }
}

} // namespace
} // namespace foundation
