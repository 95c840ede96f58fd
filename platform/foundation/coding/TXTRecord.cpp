// SPDX-License-Identifier: MIT
#include "platform/foundation/coding/TXTRecord.h"

#include "platform/dispatch/Check.h"

namespace foundation {
namespace {

constexpr std::size_t longestEntry = 255;

} // namespace

std::map<std::string, Data> dictionaryFromTXTRecordData(std::string_view record) {
    std::map<std::string, Data> properties;
    while (!record.empty()) {
        const auto length = static_cast<unsigned char>(record.front());
        record.remove_prefix(1);
        if (length > record.size()) {
            break;
        }
        const std::string_view entry = record.substr(0, length);
        record.remove_prefix(length);
        const std::size_t equals = entry.find('=');
        const std::string_view key = entry.substr(0, equals);
        if (!key.empty()) {
            const std::string_view value =
                equals != entry.npos ? entry.substr(equals + 1) : std::string_view();
            properties.emplace(key, Data{std::string(value)});
        }
    }
    return properties;
}

std::string dataFromTXTRecordDictionary(const std::map<std::string, std::string>& properties) {
    std::string record;
    for (const auto& [key, value] : properties) {
        const std::size_t length = key.size() + 1 + value.size();
        ORB_CHECK(length <= longestEntry, "the property \"{}\" of {} bytes is too long", key, length);
        record += static_cast<char>(length);
        record += key;
        record += '=';
        record += value;
    }
    return record;
}

} // namespace foundation
