// SPDX-License-Identifier: MIT
#include "platform/airplay/embedded/ReceiversFile.h"

#include "tests/platform/airplay/Recordings.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <fstream>

namespace airplay {
namespace {

using namespace std::chrono_literals;

TEST(ReceiversFileTest, everyKeyArrivesAndAbsentOnesHaveTheirDefaults) {
    const auto entries = ReceiversFile::parse(R"({"receivers": [
        {"name": "Küche", "id": "a1:B2:c3:D4:e5:F6", "file": "../out/kitchen.wav", "volume": 0.5,
         "txt": {"deviceid": "A1", "pk": "x=\u0031", "flag": ""}, "connectDelay": 1.25},
        {"id": "A1:B2:C3:D4:E5:F7", "name": "B"}], "version": 1})",
                                              "/home/music/receivers.json");
    ASSERT_EQ(entries.size(), 2U);
    EXPECT_EQ(entries[0].description.name, "Küche");
    EXPECT_EQ(entries[0].description.identifier, "a1:B2:c3:D4:e5:F6");
    EXPECT_EQ(entries[0].file, "/home/out/kitchen.wav");
    EXPECT_EQ(entries[0].description.txt,
              (std::map<std::string, std::string>{{"deviceid", "A1"}, {"pk", "x=1"}, {"flag", ""}}));
    EXPECT_EQ(entries[0].volume, 0.5F);
    EXPECT_EQ(entries[0].connectDelay, 1250ms);
    EXPECT_EQ(entries[1].file, std::nullopt);
    EXPECT_EQ(entries[1].volume, 1.0F);
    EXPECT_EQ(entries[1].connectDelay, 0s);
}

struct Fault {
    const char* text;
    const char* place;
    const char* reason; ///< a part of it
};

void PrintTo(const Fault& fault, std::ostream* stream) { *stream << fault.text; }

class ReceiversFileFaultTest : public testing::TestWithParam<Fault> {};

TEST_P(ReceiversFileFaultTest, theErrorPointsAtTheFault) {
    const auto& [text, place, reason] = GetParam();
    try {
        ReceiversFile::parse(text, "r.json");
        FAIL() << "accepted";
    } catch (const ReceiversFileError& error) {
        const std::string what = error.what();
        EXPECT_TRUE(what.starts_with(fmt::format("r.json:{}: ", place))) << what;
        EXPECT_NE(what.find(reason), what.npos) << what;
    }
}

constexpr const char* id2 = R"({"version":1,"receivers":[{"name":"A","id":"A1:B2:C3:D4:E5:F6"},
{"name":"B","id":"a1:b2:c3:d4:e5:f6"}]})";

INSTANTIATE_TEST_SUITE_P(
    All, ReceiversFileFaultTest,
    testing::Values(
        Fault{"", "1:1", ""}, Fault{"{\"version\":1,\n \"receivers\":[}", "2:15", ""},
        Fault{"[[[[[[[[[[1]]]]]]]]]]", "1:9", ""}, Fault{"  []", "1:3", "must be an object"},
        Fault{R"({"receivers":[]})", "1:1", "key \"version\" is missing"},
        Fault{R"({"version": 2,"receivers":[]})", "1:13", "\"version\" must be 1"},
        Fault{R"({"version": "1","receivers":[]})", "1:13", "\"version\" must be 1"},
        Fault{R"({"version": 1})", "1:1", "key \"receivers\" is missing"},
        Fault{"{\"version\": 1, \"receivers\":\r\n\t{}}", "2:2", "must be an array"},
        Fault{R"({"version":1,"receivers":[],"vérsion":1})", "1:29", "unknown key \"vérsion\""},
        Fault{R"({"version":1,"receivers":[],"receiver\u0073":[]})", "1:29",
              "key \"receivers\" is given twice"},
        Fault{R"({"version":1,"receivers":[null]})", "1:27", "must be an object"},
        Fault{R"({"version":1,"receivers":[{"name":"A"}]})", "1:27", "key \"id\" is missing"},
        Fault{R"({"version":1,"receivers":[{"name":"","id":"A1:B2:C3:D4:E5:F6"}]})", "1:35",
              "\"name\" must be"},
        Fault{R"({"version":1,"receivers":[{"name":"é","id":"A1:B2:C3:D4:E5:G6"}]})", "1:44",
              "\"id\" must be"},
        Fault{R"({"version":1,"receivers":[{"name":"A","id":"A1:B2:C3:D4:E5:F6:"}]})", "1:44",
              "\"id\" must be"},
        Fault{id2, "2:18", "given to two receivers"},
        Fault{R"({"version":1,"receivers":[{"name":"A","id":"A1:B2:C3:D4:E5:F6", "volume":1.5}]})", "1:74",
              "\"volume\" must be a number from 0 to 1"},
        Fault{R"({"version":1,"receivers":[{"name":"A","id":"A1:B2:C3:D4:E5:F6", "volume":"1"}]})", "1:74",
              "\"volume\" must be a number"},
        Fault{R"({"version":1,"receivers":[{"name":"A","id":"A1:B2:C3:D4:E5:F6", "connectDelay":-0.1}]})",
              "1:80", "from 0 to 3600"},
        Fault{R"({"version":1,"receivers":[{"name":"A","id":"A1:B2:C3:D4:E5:F6", "file":"dir/"}]})", "1:72",
              "not a directory"},
        Fault{R"({"version":1,"receivers":[{"name":"A","id":"A1:B2:C3:D4:E5:F6", "file":"."}]})", "1:72",
              "not a directory"},
        Fault{R"({"version":1,"receivers":[{"name":"A","id":"A1:B2:C3:D4:E5:F6", "file":"../../out/.."}]})",
              "1:72", "not a directory"},
        Fault{R"({"version":1,"receivers":[{"name":"A","id":"A1:B2:C3:D4:E5:F6","file":"a"},
{"name":"A","id":"A1:B2:C3:D4:E5:F7","file":"b/../a"}]})",
              "2:45", "\"file\" is given to two receivers"},
        Fault{R"({"version":1,"receivers":[{"name":"A","id":"A1:B2:C3:D4:E5:F6","txt":{"a=b":""}}]})", "1:71",
              "without \"=\""},
        Fault{R"({"version":1,"receivers":[{"name":"A","id":"A1:B2:C3:D4:E5:F6","txt":{"a":"","A":""}}]})",
              "1:78", "key \"A\" is given twice"},
        Fault{R"({"version":1,"receivers":[{"name":"A","id":"A1:B2:C3:D4:E5:F6","txt":{"a":1}}]})", "1:75",
              "TXT entry \"a\" must be a text"}));

std::string manyReceivers(std::size_t count) {
    std::string text = R"({"version":1,"receivers":[)";
    for (std::size_t index = 0; index < count; ++index) {
        text += fmt::format(R"({}{{"name":"R","id":"00:00:00:00:{:02x}:{:02x}"}})", index > 0 ? "," : "",
                            index / 256, index % 256);
    }
    return text + "]}";
}

TEST(ReceiversFileTest, limitsHoldExactly) {
    EXPECT_EQ(ReceiversFile::parse(manyReceivers(256), "r.json").size(), 256U);
    EXPECT_THROW(ReceiversFile::parse(manyReceivers(257), "r.json"), ReceiversFileError);
    const auto withTxt = [](std::size_t length) {
        return fmt::format(
            R"({{"version":1,"receivers":[{{"name":"A","id":"A1:B2:C3:D4:E5:F6","txt":{{"k":"{}"}}}}]}})",
            std::string(length, 'v'));
    };
    EXPECT_EQ(ReceiversFile::parse(withTxt(253), "r.json").size(), 1U);
    EXPECT_THROW(ReceiversFile::parse(withTxt(254), "r.json"), ReceiversFileError);
}

TEST(ReceiversFileTest, aFileThatCannotBeReadIsNamed) {
    const TemporaryDirectory directory;
    const auto messageOf = [](const std::filesystem::path& path) -> std::string {
        try {
            ReceiversFile::read(path);
        } catch (const ReceiversFileError& error) {
            return error.what();
        }
        return "read";
    };
    EXPECT_EQ(messageOf(directory / "none"), (directory / "none").string() + ": there is no such file");
    EXPECT_EQ(messageOf(directory / ""), (directory / "").string() + ": is not a regular file");
    std::ofstream(directory / "large") << std::string(ReceiversFile::maximumSize + 1, ' ');
    EXPECT_EQ(messageOf(directory / "large"),
              (directory / "large").string() + ": is larger than 1048576 bytes");
    std::ofstream(directory / "good") << manyReceivers(1);
    EXPECT_EQ(messageOf(directory / "good"), "read");
}

} // namespace
} // namespace airplay
