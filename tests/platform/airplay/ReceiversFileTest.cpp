// SPDX-License-Identifier: MIT
#include "platform/airplay/embedded/ReceiversFile.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

namespace airplay {
namespace {

using namespace std::chrono_literals;

TEST(ReceiversFileTest, everyKeyArrivesAndAbsentOnesHaveTheirDefaults) {
    const auto entries = ReceiversFile::parse(R"({"receivers": [
        {"name": "Küche", "id": "a1:B2:c3:D4:e5:F6", "file": "../out/kitchen.wav", "volume": 0.5,
         "row": "Ground floor", "txt": {"deviceid": "x=\u0031", "flag": "", "pk": {"base64": "AP8="}},
         "discoveryDelay": 1, "connectDelay": 2.25, "disconnectDelay": 3, "lostAfter": 0, "outcome": "vanishes",
         "password": "pä", "answers": [{"after": 4, "text": "x"}, {"after": 3600, "dismiss": true}],
         "connectsAs": {"id": "A1:B2:C3:D4:E5:F7"}},
        {"name": "B", "id": "A1:B2:C3:D4:E5:F7", "code": "12", "outcome": "never",
         "connectsAs": {"name": "C", "txt": {}}},
        {"id": "A1:B2:C3:D4:E5:F8", "name": "D"}], "version": 1})",
                                              "/home/music/receivers.json");
    ASSERT_EQ(entries.size(), 3U);
    const ReceiverDescription& first = entries[0].description;
    EXPECT_EQ(first.name, "Küche");
    EXPECT_EQ(first.identifier, "a1:B2:c3:D4:e5:F6");
    EXPECT_EQ(first.row, "Ground floor");
    EXPECT_EQ(first.txt, (std::map<std::string, std::string>{
                             {"deviceid", "x=1"}, {"flag", ""}, {"pk", std::string("\0\xFF", 2)}}));
    EXPECT_EQ(entries[0].file, "/home/out/kitchen.wav");
    EXPECT_EQ(entries[0].volume, 0.5F);
    ReceiverDescription other = first;
    other.identifier = "A1:B2:C3:D4:E5:F7";
    using Behaviour = ReceiverBehaviour;
    EXPECT_EQ(entries[0].behaviour,
              (Behaviour{.discoveryDelay = 1s,
                         .connectDelay = 2250ms,
                         .disconnectDelay = 3s,
                         .wanted = Behaviour::WantedSecret{SecretKind::password, Secret("pä")},
                         .answers = {{.after = 4s, .secret = Secret("x")}, {.after = 1h, .secret = {}}},
                         .outcome = Behaviour::Outcome::vanishes,
                         .connectsAs = other,
                         .lostAfter = 0s}));
    EXPECT_EQ(entries[1].behaviour.wanted, (Behaviour::WantedSecret{SecretKind::code, Secret("12")}));
    EXPECT_EQ(entries[1].behaviour.outcome, Behaviour::Outcome::never);
    EXPECT_EQ(entries[1].behaviour.connectsAs->name, "C");
    EXPECT_EQ(entries[2].file, std::nullopt);
    EXPECT_EQ(entries[2].volume, 1.0F);
    EXPECT_EQ(entries[2].behaviour, Behaviour());
    EXPECT_EQ(entries[2].description.row, std::nullopt);
}

void expectFault(const std::string& text, std::string_view place, const char* reason) {
    SCOPED_TRACE(text);
    try {
        ReceiversFile::parse(text, "r.json");
        ADD_FAILURE() << "accepted";
    } catch (const ReceiversFileError& error) {
        const std::string what = error.what();
        EXPECT_TRUE(what.starts_with(fmt::format("r.json:{}: ", place))) << what;
        EXPECT_NE(what.find(reason), what.npos) << what;
        EXPECT_EQ(what.find("hush"), what.npos);
    }
}

TEST(ReceiversFileTest, theErrorPointsAtTheFaultOfTheFile) {
    struct Fault {
        const char* text;
        const char* place;
        const char* reason; ///< a part of it
    };
    for (const Fault& fault : std::vector<Fault>{
             {"{\"version\":1,\n \"receivers\":[}", "2:15", ""},
             {"  []", "1:3", "must be an object"},

             {"{\"version\": 1, \"receivers\":\r\n\t{}}", "2:2", "must be an array"},
             {R"({"version":1,"receivers":[],"vérsion":1})", "1:29", "unknown key \"vérsion\""},
             {R"({"version":1,"receivers":[],"receiver\u0073":[]})", "1:29",
              "key \"receivers\" is given twice"},

             {R"({"version":1,"receivers":[{"name":"","id":"A1:B2:C3:D4:E5:F6"}]})", "1:35",
              "\"name\" must be"},
             {R"({"version":1,"receivers":[{"name":"é","id":"A1:B2:C3:D4:E5:G6"}]})", "1:44",
              "\"id\" must be"},
             {R"({"version":1,"receivers":[{"name":"A","id":"A1:B2:C3:D4:E5:F6:"}]})", "1:44",
              "\"id\" must be"},
             {R"({"version":1,"receivers":[{"name":"A","id":"A1:B2:C3:D4:E5:F6"},
{"name":"B","id":"a1:b2:c3:d4:e5:f6"}]})",
              "2:18", "given to two receivers"},
             {R"({"version":1,"receivers":[{"name":"A","id":"A1:B2:C3:D4:E5:F6","file":"a"},
{"name":"A","id":"A1:B2:C3:D4:E5:F7","file":"b/../a"}]})",
              "2:45", "\"file\" is given to two receivers"}})
        expectFault(fault.text, fault.place, fault.reason);
}

TEST(ReceiversFileTest, theErrorPointsAtTheFaultOfAnEntryAndShowsNoSecret) {
    struct Fault {
        const char* text;   ///< what the entry says beyond name and id
        std::size_t column; ///< from the beginning of that
        const char* reason; ///< a part of it
    };
    const std::string before = R"({"version":1,"receivers":[{"name":"A","id":"A1:B2:C3:D4:E5:F6",)";
    for (const Fault& fault : std::vector<Fault>{

             {R"("connectDelay":-0.1)", 16, "from 0 to 3600"},
             {R"("file":"dir/")", 8, "not a directory"},

             {R"("txt":{"a=b":""})", 8, "without \"=\""},
             {R"("txt":{"a":"","A":""})", 15, "key \"A\" is given twice"},

             {R"("password":"hush","code":"hush")", 26, "beside \"password\""},

             {R"("answers":[{"text":"hush"}])", 12, "\"after\" is missing"},

             {R"("answers":[{"after":1,"text":"hush","dismiss":true}])", 12, "either"},
             {R"("answers":[{"after":1,"dismiss":false}])", 33, "must be true"},
             {R"("answers":[{"after":3601,"text":"hush"}])", 21, "from 0 to 3600"},
             {R"("outcome":"Refuses")", 11, "\"outcome\" must be"},

             {R"("connectsAs":{"id":"B"})", 20, "six pairs"},
             {R"("connectsAs":{"volume":1})", 15, "unknown key"},
             {R"("txt":{"a":{"base64":"AA"}})", 22, "Base64"},

             {R"("row":"")", 7, "1 to 255"}})
        expectFault(before + fault.text + "}]}", fmt::format("1:{}", before.size() + fault.column),
                    fault.reason);
}

TEST(ReceiversFileTest, moreReceiversThanTheLimitAreRefused) {
    std::string list;
    for (int index = 0; index < 256; ++index)
        list += fmt::format(R"({{"name":"R","id":"00:00:00:00:00:{:02x}"}},)", index);
    const auto parse = [](const std::string& receivers) {
        return ReceiversFile::parse(R"({"version":1,"receivers":[)" + receivers + "]}", "r.json");
    };
    EXPECT_EQ(parse(list.substr(0, list.size() - 1)).size(), 256U);
    EXPECT_THROW(parse(list + R"({"name":"R","id":"00:00:00:00:01:00"})"), ReceiversFileError);
}

} // namespace
} // namespace airplay
