// SPDX-License-Identifier: MIT
// The text of a file of ours: what was read is written so that it reads back the same, and legibly placed
// errors are all that else can happen.
#include "fuzz/Fuzzing.h"
#include "platform/foundation/JsonFile.h"

#include <boost/json/serialize.hpp>

using foundation::JsonFileError;
using foundation::parseJsonText;

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text = fuzz::textOf(data, size);
    const auto value = fuzz::parsed<JsonFileError>(
        [&] { return parseJsonText(text, "file"); },
        [&](const JsonFileError& error) {
            ORB_CHECK(error.kind() == JsonFileError::Kind::malformed, "{}", error.what());
            fuzz::requirePlaceWithin(text, error.line(), error.column());
        });
    if (value) {
        const std::string written = foundation::jsonFileText(*value);
        const auto again = parseJsonText(written, "written");
        ORB_CHECK(again == *value, "{}", written);
        ORB_CHECK(foundation::jsonFileText(again) == written, "{}", written);
    }
    return 0;
}
