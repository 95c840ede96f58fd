// SPDX-License-Identifier: MIT
// A receivers file: its limits hold, errors point into it, and what was read, written down again, reads the
// same.
#include "fuzz/Fuzzing.h"
#include "platform/airplay/embedded/ReceiversFile.h"

#include <boost/json.hpp>

#include <charconv>
#include <set>

namespace {

using namespace airplay;

void judgeError(std::string_view text, std::string_view what) {
    ORB_CHECK(what.starts_with("file:"), "{}", what);
    const auto number = [&] {
        what.remove_prefix(what.find(':') + 1);
        std::size_t result = 0;
        std::from_chars(what.data(), what.data() + what.size(), result);
        return result;
    };
    const std::size_t line = number();
    fuzz::requirePlaceWithin(text, line, number());
}

void judge(const ReceiverEntry& entry) {
    const auto& [name, identifier, txt] = entry.description;
    ORB_CHECK(!name.empty() && name.size() <= 63, "{}", name);
    ORB_CHECK(identifier.size() == 17, "{}", identifier);
    ORB_CHECK(entry.volume >= 0 && entry.volume <= 1, "{}", entry.volume);
    ORB_CHECK(entry.connectDelay.count() >= 0 && entry.connectDelay <= std::chrono::hours(1), "{}",
              entry.connectDelay.count());
    ORB_CHECK(!entry.file || (entry.file->has_filename() && *entry.file->filename().c_str() != '\0'),
              "no file");
    for (const auto& [key, value] : txt) {
        ORB_CHECK(!key.empty() && key.size() + value.size() <= 254, "{}={}", key, value);
    }
}

std::string textOf(const std::vector<ReceiverEntry>& entries) {
    boost::json::array receivers;
    for (const auto& [description, file, volume, connectDelay] : entries) {
        boost::json::object receiver{{"name", description.name},
                                     {"id", description.identifier},
                                     {"txt", boost::json::value_from(description.txt)},
                                     {"volume", volume},
                                     {"connectDelay", static_cast<double>(connectDelay.count()) / 1e9}};
        if (file) {
            receiver["file"] = file->string();
        }
        receivers.push_back(std::move(receiver));
    }
    return boost::json::serialize(boost::json::object{{"version", 1}, {"receivers", receivers}});
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text = fuzz::textOf(data, size);
    const auto entries = fuzz::parsed<ReceiversFileError>(
        [&] { return ReceiversFile::parse(text, "file"); },
        [&](const ReceiversFileError& error) { judgeError(text, error.what()); });
    if (entries) {
        std::ranges::for_each(*entries, judge);
        const std::string written = textOf(*entries);
        ORB_CHECK(textOf(ReceiversFile::parse(written, "file")) == written, "{}", written);
    }
    return 0;
}
