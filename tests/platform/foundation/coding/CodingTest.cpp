// SPDX-License-Identifier: MIT
#include "platform/foundation/coding/TaggedUnion.h"
#include "tests/platform/foundation/coding/decodingFailure.h"

#include <gtest/gtest.h>

#include <variant>
#include <vector>

namespace foundation {

struct Item {
    static constexpr std::string_view caseName = "item";
    Data data;
    std::optional<std::string> name;

    auto operator<=>(const Item&) const = default;
};

struct Items {
    static constexpr std::string_view caseName = "items";
    std::set<Item> items;
};

template <>
struct Coding<Item> : StructCoding<Item> {
    static constexpr std::tuple fields{Field{"data", &Item::data}, Field{"name", &Item::name}};
};
template <>
struct Coding<Items> : StructCoding<Items> {
    static constexpr std::tuple fields{Field{"items", &Items::items}};
};

namespace {

using Union = std::variant<Item, Items>;

TEST(CodingTest, aFailureTellsItsKindAndPlace) {
    const std::string wrongCount = "type mismatch: Invalid number of keys found, expected one.";
    const std::vector<std::pair<std::string, std::string>> failures{
        {R"({})", wrongCount},
        {R"({"Item":{"data":""}})", wrongCount},
        {R"({"item":{"data":""},"items":{"items":[]}})", wrongCount},
        {R"([{"items":{"items":[]}}])", "type mismatch: Expected an object, found an array."},
        {R"(null)", "value not found: Expected an object, found null."},
        {R"({"item":{"name":"x"}})", "key not found at item: No value for the key \"data\"."},
        {R"({"item":{"data":null}})", "value not found at item.data: Expected a text, found null."},
        {R"({"item":{"data":"","name":1}})",
         "type mismatch at item.name: Expected a text, found an integer."},
        {R"({"items":{"items":{}}})", "type mismatch at items.items: Expected an array, found an object."},
        {R"({"items":{"items":[{"data":""},{"data":"A"}]}})",
         "data corrupted at items.items[1].data: The text is not Base64."}};
    for (const auto& [text, failure] : failures)
        EXPECT_EQ(decodingFailure<Union>(text), failure) << text;
    EXPECT_EQ(decodingFailure<UUID>(R"("3F2504E0")"), "data corrupted: The text is not a UUID.");
    EXPECT_EQ(decodingFailure<bool>("1"), "type mismatch: Expected a boolean, found an integer.");
}

TEST(CodingTest, anIntegerIsOneHoweverItIsWrittenAndOnlyWithinItsRange) {
    EXPECT_EQ(decodeJSON<std::int64_t>("-9223372036854775808"), INT64_MIN);
    EXPECT_EQ(decodeJSON<std::int64_t>("3.0"), 3);
    for (const char* text : {"9223372036854775808", "1e30", "3.5", "true", "\"3\"", "null"})
        EXPECT_NE(decodingFailure<std::int64_t>(text), "read") << text;
}

} // namespace
} // namespace foundation
