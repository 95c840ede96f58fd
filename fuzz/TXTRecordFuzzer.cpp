// SPDX-License-Identifier: MIT
// Records of service discovery: whatever is read and can be written again is read as the same.
#include "fuzz/Fuzzing.h"
#include "platform/foundation/coding/TXTRecord.h"

using namespace foundation;

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::map<std::string, Data> read = dictionaryFromTXTRecordData(fuzz::textOf(data, size));
    std::map<std::string, std::string> written;
    for (const auto& [key, value] : read) {
        ORB_CHECK(!key.empty() && key.find('=') == key.npos, "{}", key);
        if (key.size() + value.bytes.size() <= 254)
            written.emplace(key, value.bytes);
    }
    ORB_CHECK(read.size() - written.size() <= size / 256, "{} of {}", written.size(), read.size());
    for (const auto& [key, value] : dictionaryFromTXTRecordData(dataFromTXTRecordDictionary(written)))
        ORB_CHECK(written.at(key) == value.bytes, "{}", key);
    return 0;
}
