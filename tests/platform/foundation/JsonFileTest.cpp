// SPDX-License-Identifier: MIT
#include "platform/foundation/JsonFile.h"
#include "platform/foundation/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <limits>
#include <thread>

namespace foundation {
namespace {

namespace fs = std::filesystem;
using Kind = JsonFileError::Kind;

TEST(JsonFileTest, malformedTextIsPlacedByLineAndColumn) {
    const TemporaryDirectory root;
    const JsonFile file(root / "file.json", {.size = 60, .depth = 3});
    const std::string limit(58, 'x');
    writeFile(file.path(), "\"" + limit + "\"");
    EXPECT_TRUE(file.read());
    using Row = std::tuple<std::string, std::size_t, std::size_t>;
    for (const auto& [text, line, column] : {Row{"", 1, 1},
                                             {"{", 1, 2},
                                             {"{\n  \"a\": 1,\n  b\n}", 3, 3},
                                             {"{\"\xC3\xBC\xC3\xBC\": x}", 1, 8},
                                             {"[1] x", 1, 5},
                                             {"[[[[1]]]]", 1, 4},
                                             {"\"\xFF\"", 1, 2},
                                             {"[1,]", 1, 4}}) {
        writeFile(file.path(), text);
        try {
            file.read();
            ADD_FAILURE() << "read: " << text;
        } catch (const JsonFileError& error) {
            EXPECT_EQ(error.kind(), Kind::malformed);
            EXPECT_EQ(std::pair(error.line(), error.column()), std::pair(line, column))
                << text << ": " << error.what();
        }
    }
    writeFile(file.path(), "\"" + limit + "x\"");
    EXPECT_THROW(file.read(), JsonFileError);
}

TEST(JsonFileTest, whatIsNoReadableFileIsAnErrorAndWhatIsNotThereIsNothing) {
    const TemporaryDirectory root;
    EXPECT_EQ(JsonFile(root / "missing").read(), std::nullopt);
    fs::create_directory(root / "directory");
    ASSERT_EQ(mkfifo((root / "pipe").c_str(), 0600), 0);
    writeFile(root / "secret", "{}");
    chmod((root / "secret").c_str(), 0);
    for (const auto* name : {"directory", "pipe", "secret"}) {
        try {
            JsonFile(root / name).read();
            ADD_FAILURE() << "read: " << name;
        } catch (const JsonFileError& error) {
            EXPECT_EQ(error.kind(), Kind::unreadable);
        }
    }
}

TEST(JsonFileTest, aReplacedFileReadsBackIsPrivateAndLeavesNothingBeside) {
    const TemporaryDirectory root;
    const JsonFile file(root / "file.json");
    constexpr double infinity = std::numeric_limits<double>::infinity(); // what 1e999 is read as
    const boost::json::value value{
        {"whole", 3.0}, {"t\"\n\xC3\xBC", "x\ty"}, {"list", {1, -infinity, 0.0002F}}};
    file.replace("old");
    chmod(file.path().c_str(), 0644);
    file.replace(value);
    const auto read = file.read();
    EXPECT_EQ(read, value);
    EXPECT_TRUE(read->at("whole").is_double());
    EXPECT_EQ(fs::status(file.path()).permissions(), fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_EQ(std::distance(fs::directory_iterator(root.path()), {}), 1);
}

TEST(JsonFileTest, twoThreadsThatReadModifyAndWriteLoseNothingAndReadersSeeNoHalf) {
    constexpr int rounds = 50;
    const TemporaryDirectory root;
    const JsonFile file(root / "file.json");
    const auto writer = [&](std::string key) {
        for (int round = 0; round < rounds; ++round) {
            file.update([&](std::optional<boost::json::value> old) -> std::optional<boost::json::value> {
                boost::json::object members = old ? old->as_object() : boost::json::object();
                members[key] = members.contains(key) ? members[key].as_int64() + 1 : 1;
                return members;
            });
        }
    };
    std::thread one(writer, "one"), two(writer, "two");
    for (int round = 0; round < rounds; ++round) {
        EXPECT_NO_THROW(file.read());
    }
    one.join();
    two.join();
    EXPECT_EQ(file.read(), (boost::json::value{{"one", rounds}, {"two", rounds}}));
}

} // namespace
} // namespace foundation
