// SPDX-License-Identifier: MIT
#include "platform/foundation/coding/TXTRecord.h"

#include <gtest/gtest.h>

namespace foundation {
namespace {

using Properties = std::map<std::string, Data>;

TEST(TXTRecordTest, recordsOfAnyFormAreReadAsFarAsTheyGo) {
    struct Row {
        std::string record;
        Properties properties;
    };
    const std::string longest = "k=" + std::string(253, 'v');
    const Row rows[] = {
        {"", {}},
        {std::string("\0", 1), {}},
        {"\x03"
         "a=1"
         "\x02"
         "b="
         "\x01"
         "c",
         {{"a", {"1"}}, {"b", {""}}, {"c", {""}}}},
        {"\x03"
         "a=1"
         "\x03"
         "a=2",
         {{"a", {"1"}}}},
        {"\x02"
         "=1"
         "\x05"
         "a=b=c",
         {{"a", {"b=c"}}}},
        {"\x03"
         "A=1"
         "\x04"
         "a=\xFF\xFE",
         {{"A", {"1"}}, {"a", {"\xFF\xFE"}}}},
        {"\x03"
         "a=1"
         "\x09"
         "b=2",
         {{"a", {"1"}}}},
        {"\xFF" + longest, {{"k", {std::string(253, 'v')}}}},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(dictionaryFromTXTRecordData(row.record), row.properties)
            << testing::PrintToString(row.record);
    }
}

TEST(TXTRecordTest, whatIsWrittenIsReadAgain) {
    const std::map<std::string, std::string> properties{{"deviceid", "A1:B2"}, {"empty", ""}, {"gid", "a=b"}};
    Properties read;
    for (const auto& [key, value] : properties) {
        read.emplace(key, Data{value});
    }
    EXPECT_EQ(dictionaryFromTXTRecordData(dataFromTXTRecordDictionary(properties)), read);
}

} // namespace
} // namespace foundation
