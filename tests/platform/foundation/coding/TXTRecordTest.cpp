// SPDX-License-Identifier: MIT
#include "platform/foundation/coding/TXTRecord.h"

#include <gtest/gtest.h>

namespace foundation {
namespace {

using Properties = std::map<std::string, Data>;

TEST(TXTRecordTest, recordsOfAnyFormAreReadAsFarAsTheyGo) {
    /// A record of these entries, as they stand or cut short.
    const auto record = [](const std::vector<std::string>& entries) {
        std::string bytes;
        for (const std::string& entry : entries)
            bytes += static_cast<char>(entry.size()) + entry;
        return bytes;
    };
    const std::string longest(253, 'v');
    const std::vector<std::pair<std::string, Properties>> rows{
        {"", {}},
        {record({""}), {}},
        {record({"a=1", "b=", "c"}), {{"a", {"1"}}, {"b", {""}}, {"c", {""}}}},
        {record({"a=1", "a=2"}), {{"a", {"1"}}}},
        {record({"=1", "a=b=c"}), {{"a", {"b=c"}}}},
        {record({"A=1", "a=\xFF\xFE"}), {{"A", {"1"}}, {"a", {"\xFF\xFE"}}}},
        {record({"a=1"}) + "\x09" + "b=2", {{"a", {"1"}}}},
        {record({"k=" + longest}), {{"k", {longest}}}}};
    for (const auto& [bytes, properties] : rows)
        EXPECT_EQ(dictionaryFromTXTRecordData(bytes), properties) << testing::PrintToString(bytes);
    EXPECT_EQ(dataFromTXTRecordDictionary({{"c", ""}, {"a", "b=c"}}), record({"a=b=c", "c="}));
}

} // namespace
} // namespace foundation
