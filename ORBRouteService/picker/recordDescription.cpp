// SPDX-License-Identifier: MIT
#include "ORBRouteService/picker/recordDescription.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <vector>

namespace orb {
namespace {

template <typename Value, typename ValueText>
std::string describeEntries(const std::map<std::string, Value>& entries, ValueText valueText) {
    std::vector<std::string> texts;
    texts.reserve(entries.size());
    for (const auto& [key, value] : entries) {
        texts.push_back(fmt::format("\"{}\": {}", key, valueText(value)));
    }
    return texts.empty() ? "[:]" : fmt::format("[{}]", fmt::join(texts, ", "));
}

} // namespace

std::string recordDescription(const TxtRecord& record) {
    return describeEntries(record, [](const std::string& text) { return fmt::format("\"{}\"", text); });
}

std::string recordDescription(const std::map<std::string, foundation::Data>& properties) {
    return describeEntries(
        properties, [](const foundation::Data& data) { return fmt::format("{} bytes", data.bytes.size()); });
}

} // namespace orb
