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
    EXPECT_EQ(entries[0].behaviour.connectDelay, 1250ms);
    EXPECT_EQ(entries[1].file, std::nullopt);
    EXPECT_EQ(entries[1].volume, 1.0F);
    EXPECT_EQ(entries[1].behaviour, ReceiverBehaviour());
    EXPECT_EQ(entries[1].description.row, std::nullopt);
}

TEST(ReceiversFileTest, everyWayToBehaveArrives) {
    const auto entries = ReceiversFile::parse(R"({"version": 1, "receivers": [
        {"name": "A", "id": "A1:B2:C3:D4:E5:F6", "row": "Ground floor", "txt": {"pk": {"base64": "AP8="}},
         "discoveryDelay": 1, "connectDelay": 2, "disconnectDelay": 3, "lostAfter": 0, "outcome": "vanishes",
         "password": "pä", "answers": [{"after": 4, "text": "x"}, {"after": 3600, "dismiss": true}],
         "connectsAs": {"id": "A1:B2:C3:D4:E5:F7"}},
        {"name": "B", "id": "A1:B2:C3:D4:E5:F7", "code": "12", "outcome": "never",
         "connectsAs": {"name": "C", "txt": {}}}]})",
                                              "r.json");
    const ReceiverDescription& first = entries.at(0).description;
    EXPECT_EQ(first.txt.at("pk"), std::string("\0\xFF", 2));
    EXPECT_EQ(first.row, "Ground floor");
    ReceiverDescription other = first;
    other.identifier = "A1:B2:C3:D4:E5:F7";
    using Behaviour = ReceiverBehaviour;
    EXPECT_EQ(entries[0].behaviour,
              (Behaviour{.discoveryDelay = 1s,
                         .connectDelay = 2s,
                         .disconnectDelay = 3s,
                         .wanted = Behaviour::WantedSecret{SecretKind::password, Secret("pä")},
                         .answers = {{.after = 4s, .secret = Secret("x")}, {.after = 1h, .secret = {}}},
                         .outcome = Behaviour::Outcome::vanishes,
                         .connectsAs = other,
                         .lostAfter = 0s}));
    EXPECT_EQ(entries.at(1).behaviour.wanted, (Behaviour::WantedSecret{SecretKind::code, Secret("12")}));
    EXPECT_EQ(entries[1].behaviour.outcome, Behaviour::Outcome::never);
    EXPECT_EQ(entries[1].behaviour.connectsAs->name, "C");
}

struct Fault {
    const char* text;
    const char* place;
    const char* reason; ///< a part of it
};

void PrintTo(const Fault& fault, std::ostream* stream) { *stream << fault.text; }

class ReceiversFileFaultTest : public testing::TestWithParam<Fault> {};

void expectFault(const std::string& text, std::string_view place, const char* reason) {
    try {
        ReceiversFile::parse(text, "r.json");
        FAIL() << "accepted";
    } catch (const ReceiversFileError& error) {
        const std::string what = error.what();
        EXPECT_TRUE(what.starts_with(fmt::format("r.json:{}: ", place))) << what;
        EXPECT_NE(what.find(reason), what.npos) << what;
        EXPECT_EQ(what.find("hush"), what.npos);
    }
}

TEST_P(ReceiversFileFaultTest, theErrorPointsAtTheFault) {
    expectFault(GetParam().text, GetParam().place, GetParam().reason);
}

constexpr const char* id2 = R"({"version":1,"receivers":[{"name":"A","id":"A1:B2:C3:D4:E5:F6"},
{"name":"B","id":"a1:b2:c3:d4:e5:f6"}]})";

INSTANTIATE_TEST_SUITE_P(
    All, ReceiversFileFaultTest,
    testing::Values(Fault{"", "1:1", ""}, Fault{"{\"version\":1,\n \"receivers\":[}", "2:15", ""},
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
                    Fault{R"({"version":1,"receivers":[{"name":"A","id":"A1:B2:C3:D4:E5:F6","file":"a"},
{"name":"A","id":"A1:B2:C3:D4:E5:F7","file":"b/../a"}]})",
                          "2:45", "\"file\" is given to two receivers"}));

/// What an entry says beyond name and id, and where, from the beginning of that, it is wrong.
struct EntryFault {
    const char* text;
    std::size_t column;
    const char* reason; ///< a part of it
};

void PrintTo(const EntryFault& fault, std::ostream* stream) { *stream << fault.text; }

class ReceiversFileEntryFaultTest : public testing::TestWithParam<EntryFault> {};

TEST_P(ReceiversFileEntryFaultTest, theErrorPointsAtTheFaultAndShowsNoSecret) {
    const std::string before = R"({"version":1,"receivers":[{"name":"A","id":"A1:B2:C3:D4:E5:F6",)";
    expectFault(before + GetParam().text + "}]}", fmt::format("1:{}", before.size() + GetParam().column),
                GetParam().reason);
}

INSTANTIATE_TEST_SUITE_P(
    All, ReceiversFileEntryFaultTest,
    testing::Values(EntryFault{R"("volume":1.5)", 10, "\"volume\" must be a number from 0 to 1"},
                    EntryFault{R"("volume":"1")", 10, "\"volume\" must be a number"},
                    EntryFault{R"("connectDelay":-0.1)", 16, "from 0 to 3600"},
                    EntryFault{R"("file":"dir/")", 8, "not a directory"},
                    EntryFault{R"("file":".")", 8, "not a directory"},
                    EntryFault{R"("file":"../../out/..")", 8, "not a directory"},
                    EntryFault{R"("txt":{"a=b":""})", 8, "without \"=\""},
                    EntryFault{R"("txt":{"a":"","A":""})", 15, "key \"A\" is given twice"},
                    EntryFault{R"("txt":{"a":1})", 12, "TXT entry \"a\" must be a text"},
                    EntryFault{R"("password":"hush","code":"hush")", 26, "beside \"password\""},
                    EntryFault{R"("password":["hush"])", 12, "\"password\" must be a text of 1 to 255"},
                    EntryFault{R"("code":"")", 8, "\"code\" must be a text"},
                    EntryFault{R"("answers":{"text":"hush"})", 11, "array of at most 16"},
                    EntryFault{R"("answers":[{"text":"hush"}])", 12, "\"after\" is missing"},
                    EntryFault{R"("answers":[{"after":1}])", 12, "either"},
                    EntryFault{R"("answers":[{"after":1,"text":"hush","dismiss":true}])", 12, "either"},
                    EntryFault{R"("answers":[{"after":1,"dismiss":false}])", 33, "must be true"},
                    EntryFault{R"("answers":[{"after":3601,"text":"hush"}])", 21, "from 0 to 3600"},
                    EntryFault{R"("outcome":"Refuses")", 11, "\"outcome\" must be"},
                    EntryFault{R"("outcome":1)", 11, "\"outcome\" must be"},
                    EntryFault{R"("lostAfter":-1)", 13, "from 0 to 3600"},
                    EntryFault{R"("connectsAs":"B")", 14, "must be an object"},
                    EntryFault{R"("connectsAs":{"id":"B"})", 20, "six pairs"},
                    EntryFault{R"("connectsAs":{"volume":1})", 15, "unknown key"},
                    EntryFault{R"("txt":{"a":{"base64":"AA"}})", 22, "Base64"},
                    EntryFault{R"("txt":{"a":{"hex":"00"}})", 13, "unknown key"},
                    EntryFault{R"("row":"")", 7, "1 to 255"}));

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
