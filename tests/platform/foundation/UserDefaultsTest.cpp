// SPDX-License-Identifier: MIT
#include "platform/dispatch/virtual/VirtualRealm.h"
#include "platform/foundation/JsonFile.h"
#include "platform/foundation/TemporaryDirectory.h"
#include "platform/foundation/UserDefaults.h"

#include <gtest/gtest.h>
#include <boost/json/parse.hpp>

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

/// Registered defaults of a kind of their own show where a value does not convert.
TEST_F(UserDefaultsTest, valuesConvertOrGiveWayToTheRegisteredDefaultWithOneReport) {
    using std::nullopt;
    struct Conversion {
        const char* stored;
        std::optional<double> asDouble;
        std::optional<std::int64_t> asInteger;
        std::optional<bool> asBool;
        std::optional<std::string> asString;
    };
    for (const Conversion& row : std::vector<Conversion>{
             {"true", 1.0, 1, true, "1"},
             {"-2.75", -2.75, -2, true, "-2.75"},
             {"0.0", 0.0, 0, false, "0"},
             {"1e300", 1e300, nullopt, true, "1e+300"},
             {"18446744073709551615", 18446744073709551616.0, nullopt, true, "1.8446744073709552e+19"},
             {"1e999", nullopt, nullopt, nullopt, nullopt},
             {R"("9223372036854775807")", 9223372036854775808.0, INT64_MAX, true, "9223372036854775807"},
             {R"("0.5")", 0.5, 0, true, "0.5"},
             {R"("YES")", nullopt, nullopt, true, "YES"},
             {R"("false")", nullopt, nullopt, false, "false"},
             {R"("1x")", nullopt, nullopt, nullopt, "1x"},
             {R"("inf")", nullopt, nullopt, nullopt, "inf"},
             {"null", nullopt, nullopt, nullopt, nullopt},
             {"[1]", nullopt, nullopt, nullopt, nullopt},
         }) {
        SCOPED_TRACE(row.stored);
        put(std::string(R"({"key": )") + row.stored + "}");
        reports.clear();
        const auto defaults = open();
        defaults->registerDefaults({{"key", std::int64_t{77}}});
        for (int round = 0; round < 2; ++round) {
            EXPECT_EQ(defaults->doubleForKey("key"), row.asDouble.value_or(77));
            EXPECT_EQ(defaults->integerForKey("key"), row.asInteger.value_or(77));
            EXPECT_EQ(defaults->boolForKey("key"), row.asBool.value_or(true));
            EXPECT_EQ(defaults->stringForKey("key"), row.asString.value_or("77"));
        }
        EXPECT_EQ(reports.size(), std::size_t(!row.asDouble + !row.asInteger + !row.asBool + !row.asString));
    }
}

TEST_F(UserDefaultsTest, aDamagedFileStaysUntilTheFirstWriteAndIsThenKeptUnderAnotherName) {
    for (const std::string& damage : {std::string("{\"volume\": 0.7,,}"), std::string("[1]"), std::string(),
                                      std::string(40, '['), std::string(1100000, ' ') + "{}"}) {
        put(damage);
        writeFile(file.string() + ".damaged-1", "an earlier one");
        fs::remove(file.string() + ".damaged-2");
        reports.clear();
        auto defaults = open();
        EXPECT_EQ(defaults->objectForKey("volume"), std::nullopt);
        EXPECT_EQ(reports.size(), 1U);
        EXPECT_EQ(readFile(file), damage) << "changed by reading";
        defaults->setBool("muted", true);
        EXPECT_EQ(readFile(file.string() + ".damaged-1"), "an earlier one");
        EXPECT_EQ(readFile(file.string() + ".damaged-2"), damage);
        EXPECT_EQ(JsonFile(file).read(), (boost::json::value{{"muted", true}}));
        EXPECT_EQ(reports.size(), 2U);
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
        [&] { put(R"({"old": 1})"), chmod(file.c_str(), 0); },
        [&] { put("damaged"), chmod(file.c_str(), 0400); },
        [&] { fs::create_directories(file / "in the way"); },
        [&] { fs::create_directories(file.string() + ".lock"); },
    };
    for (const auto& obstruct : obstacles) {
        fs::remove_all(file.parent_path());
        obstruct();
        const auto before = fs::is_regular_file(file) ? readFile(file) : "";
        const auto defaults = open();
        reports.clear();
        defaults->setDouble("volume", 0.5);
        EXPECT_EQ(defaults->doubleForKey("volume"), 0.5);
        EXPECT_EQ(postsOf(defaults), 1);
        EXPECT_EQ(reports.size(), 1U);
        EXPECT_FALSE(fs::exists(file.string() + ".damaged-1"));
        EXPECT_EQ(fs::is_regular_file(file) ? readFile(file) : "", before);
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
