// SPDX-License-Identifier: MIT
// A preferences file of any content: reading never fails, a write keeps what it does not know, loses no
// damaged file, and reads back; values convert to finite numbers that agree with each other.
#include "fuzz/Fuzzing.h"
#include "platform/foundation/PreferenceFile.h"
#include "platform/foundation/TemporaryDirectory.h"

#include <cmath>

namespace {

using namespace foundation;

void judgeConversions(const PreferenceValue& value) {
    const auto number = convertPreference<double>(value);
    const auto integer = convertPreference<std::int64_t>(value);
    const auto text = convertPreference<std::string>(value);
    ORB_CHECK(!number || std::isfinite(*number), "{}", *number);
    ORB_CHECK(!integer || number, "{} is an integer but no number", *integer);
    ORB_CHECK(!number || convertPreference<bool>(value) == (*number != 0), "{}", *number);
    ORB_CHECK(text.has_value(), "no text");
    ORB_CHECK(convertPreference<double>(*text) == number, "{}", *text);
    ORB_CHECK(preferenceOf(jsonOf(value)) == value, "{}", *text);
}

/// The change of a value, of a text that is arbitrary bytes when `text` is, and the removal of what is there.
PreferenceChanges changesFor(const boost::json::object& content, std::string_view text) {
    PreferenceChanges changes{{"volume", 0.1}, {"text", std::string(text.substr(0, text.size() / 2))}};
    if (!content.empty()) {
        changes.insert_or_assign(std::string(content.begin()->key()), std::nullopt);
    }
    return changes;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const TemporaryDirectory directory;
    const std::string_view text = fuzz::textOf(data, size);
    const auto path = directory / "suite.json";
    const auto aside = directory / "suite.json.damaged-1";
    writeFile(path, std::string(text));
    PreferenceFile file(path, "suite", [](const std::string&) {});

    const boost::json::object content = file.read();
    for (const auto& member : content) {
        if (const auto value = preferenceOf(member.value())) {
            judgeConversions(*value);
        }
    }
    const auto changes = changesFor(content, text);
    boost::json::object expected = content;
    applyChanges(changes, expected);
    const auto written = file.write(changes);
    ORB_CHECK(!written || *written == expected, "written is not what was changed");
    ORB_CHECK(file.read() == (written ? expected : content), "what was written does not read back");
    if (std::filesystem::exists(aside)) {
        ORB_CHECK(readFile(aside) == text, "the damaged file was changed");
        std::filesystem::remove(aside);
    }
    return 0;
}
