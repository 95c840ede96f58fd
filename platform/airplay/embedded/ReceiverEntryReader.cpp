// SPDX-License-Identifier: MIT
#include "platform/airplay/embedded/ReceiverEntryReader.h"

#include "platform/foundation/coding/Base64.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <utility>

namespace airplay {
namespace {

constexpr std::size_t longestName = 63;      // a DNS label
constexpr std::size_t longestText = 255;     // of a row, secret or answer
constexpr std::size_t longestTxtEntry = 254; // a length byte of 255 would leave no room for the "="
constexpr std::size_t longestPath = 4095;
constexpr std::size_t maximumAnswers = 16;

using Outcome = ReceiverBehaviour::Outcome;
constexpr std::array<std::pair<std::string_view, Outcome>, 4> outcomes{{{"connects", Outcome::connects},
                                                                        {"refuses", Outcome::refuses},
                                                                        {"never", Outcome::never},
                                                                        {"vanishes", Outcome::vanishes}}};

std::string upperCase(std::string_view text) {
    std::string upper(text);
    std::ranges::transform(upper, upper.begin(), [](char c) {
        return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    });
    return upper;
}

bool isIdentifier(std::string_view text) {
    constexpr std::string_view pattern = "xx:xx:xx:xx:xx:xx";
    return std::ranges::equal(text, pattern, [](char c, char wanted) {
        const std::string_view allowed = wanted == 'x' ? "0123456789abcdefABCDEF" : ":";
        return allowed.find(c) != allowed.npos;
    });
}

bool isTxtKey(std::string_view key) {
    return !key.empty() &&
           std::ranges::all_of(key, [](char c) { return c >= 0x20 && c <= 0x7E && c != '='; });
}

} // namespace

ReceiverEntry ReceiverEntryReader::read(const LocatedJson& object) {
    reader_.requireKeys(object, {"name", "id"},
                        {"row", "file", "txt", "volume", "discoveryDelay", "connectDelay", "disconnectDelay",
                         "password", "code", "answers", "outcome", "connectsAs", "lostAfter"});
    ReceiverEntry entry;
    entry.description.name = reader_.text(object, "name", longestName);
    entry.description.identifier = identifier(object);
    reader_.require(identifiers_.insert(upperCase(entry.description.identifier)).second,
                    LocatedReader::find(object, "id")->offset,
                    fmt::format("id \"{}\" is given to two receivers", entry.description.identifier));
    if (const LocatedJson* txt = LocatedReader::find(object, "txt")) {
        entry.description.txt = txtRecord(*txt);
    }
    if (LocatedReader::find(object, "row") != nullptr) {
        entry.description.row = reader_.text(object, "row", longestText);
    }
    if (LocatedReader::find(object, "file") != nullptr) {
        entry.file = file(object);
    }
    entry.volume = static_cast<float>(reader_.number(object, "volume", 1, 1));
    entry.behaviour = behaviour(object, entry.description);
    return entry;
}

std::string ReceiverEntryReader::identifier(const LocatedJson& object) const {
    const LocatedJson& found = *LocatedReader::find(object, "id");
    const auto* string = found.value.if_string();
    reader_.require(string != nullptr && isIdentifier(*string), found.offset,
                    "\"id\" must be six pairs of hexadecimal digits with colons between");
    return std::string(*string);
}

std::filesystem::path ReceiverEntryReader::file(const LocatedJson& object) {
    std::filesystem::path file = (directory_ / reader_.text(object, "file", longestPath)).lexically_normal();
    const std::size_t offset = LocatedReader::find(object, "file")->offset;
    const bool isDirectory = !file.has_filename() || file.filename() == "." || file.filename() == "..";
    reader_.require(!isDirectory, offset, "\"file\" must name a file, not a directory");
    reader_.require(files_.insert(file).second, offset, "\"file\" is given to two receivers");
    return file;
}

ReceiverEntryReader::TxtRecord ReceiverEntryReader::txtRecord(const LocatedJson& object) const {
    reader_.require(object.value.is_object(), object.offset, "\"txt\" must be an object");
    TxtRecord record;
    std::set<std::string> seen;
    for (const auto& [key, offset, value] : object.members) {
        reader_.require(isTxtKey(key), offset, "a TXT key must be printable ASCII without \"=\"");
        reader_.require(seen.insert(upperCase(key)).second, offset,
                        fmt::format("key \"{}\" is given twice", key));
        std::string bytes = txtValue(key, value);
        reader_.require(key.size() + bytes.size() <= longestTxtEntry, value.offset,
                        fmt::format("TXT entry \"{}\" is longer than {} bytes", key, longestTxtEntry));
        record.emplace(key, std::move(bytes));
    }
    return record;
}

std::string ReceiverEntryReader::txtValue(const std::string& key, const LocatedJson& value) const {
    if (const auto* string = value.value.if_string()) {
        return std::string(*string);
    }
    reader_.require(value.value.is_object(), value.offset,
                    fmt::format("TXT entry \"{}\" must be a text or {{\"base64\": ...}}", key));
    reader_.requireKeys(value, {"base64"}, {});
    const LocatedJson& coded = *LocatedReader::find(value, "base64");
    const auto* string = coded.value.if_string();
    auto bytes = string != nullptr ? foundation::dataFromBase64(*string) : std::nullopt;
    reader_.require(bytes.has_value(), coded.offset, "\"base64\" must be padded Base64 without line breaks");
    return std::move(bytes->bytes);
}

ReceiverBehaviour ReceiverEntryReader::behaviour(const LocatedJson& object,
                                                 const ReceiverDescription& description) const {
    Behaviour behaviour;
    behaviour.discoveryDelay = reader_.seconds(object, "discoveryDelay");
    behaviour.connectDelay = reader_.seconds(object, "connectDelay");
    behaviour.disconnectDelay = reader_.seconds(object, "disconnectDelay");
    behaviour.wanted = wantedSecret(object);
    if (const LocatedJson* array = LocatedReader::find(object, "answers")) {
        behaviour.answers = answers(*array);
    }
    if (const LocatedJson* value = LocatedReader::find(object, "outcome")) {
        behaviour.outcome = outcome(*value);
    }
    if (const LocatedJson* other = LocatedReader::find(object, "connectsAs")) {
        behaviour.connectsAs = connectsAs(*other, description);
    }
    if (LocatedReader::find(object, "lostAfter") != nullptr) {
        behaviour.lostAfter = reader_.seconds(object, "lostAfter");
    }
    return behaviour;
}

std::optional<ReceiverBehaviour::WantedSecret> ReceiverEntryReader::wantedSecret(
    const LocatedJson& object) const {
    const bool hasPassword = LocatedReader::find(object, "password") != nullptr;
    if (const LocatedJson* const code = LocatedReader::find(object, "code")) {
        reader_.require(!hasPassword, code->offset, "\"code\" is given beside \"password\"");
        return Behaviour::WantedSecret{SecretKind::code, Secret(reader_.text(object, "code", longestText))};
    }
    if (hasPassword) {
        return Behaviour::WantedSecret{SecretKind::password,
                                       Secret(reader_.text(object, "password", longestText))};
    }
    return std::nullopt;
}

std::vector<ReceiverBehaviour::Answer> ReceiverEntryReader::answers(const LocatedJson& array) const {
    reader_.require(array.value.is_array() && array.elements.size() <= maximumAnswers, array.offset,
                    fmt::format("\"answers\" must be an array of at most {}", maximumAnswers));
    std::vector<Behaviour::Answer> answers;
    answers.reserve(array.elements.size());
    for (const LocatedJson& element : array.elements) {
        answers.push_back(answer(element));
    }
    return answers;
}

ReceiverBehaviour::Answer ReceiverEntryReader::answer(const LocatedJson& object) const {
    reader_.requireKeys(object, {"after"}, {"text", "dismiss"});
    Behaviour::Answer answer{.after = reader_.seconds(object, "after"), .secret = std::nullopt};
    const LocatedJson* const dismiss = LocatedReader::find(object, "dismiss");
    const bool hasText = LocatedReader::find(object, "text") != nullptr;
    reader_.require(hasText == (dismiss == nullptr), object.offset,
                    "an answer has either \"text\" or \"dismiss\"");
    if (hasText) {
        answer.secret = Secret(reader_.text(object, "text", longestText));
    } else {
        const bool* const value = dismiss->value.if_bool();
        reader_.require(value != nullptr && *value, dismiss->offset, "\"dismiss\" must be true");
    }
    return answer;
}

ReceiverBehaviour::Outcome ReceiverEntryReader::outcome(const LocatedJson& value) const {
    const auto* string = value.value.if_string();
    const auto known = std::ranges::find_if(
        outcomes, [&](const auto& outcome) { return string != nullptr && outcome.first == *string; });
    reader_.require(known != outcomes.end(), value.offset,
                    "\"outcome\" must be \"connects\", \"refuses\", \"never\" or \"vanishes\"");
    return known->second;
}

ReceiverDescription ReceiverEntryReader::connectsAs(const LocatedJson& object,
                                                    ReceiverDescription description) const {
    reader_.requireKeys(object, {}, {"name", "id", "txt"});
    if (LocatedReader::find(object, "name") != nullptr) {
        description.name = reader_.text(object, "name", longestName);
    }
    if (LocatedReader::find(object, "id") != nullptr) {
        description.identifier = identifier(object);
    }
    if (const LocatedJson* txt = LocatedReader::find(object, "txt")) {
        description.txt = txtRecord(*txt);
    }
    return description;
}

} // namespace airplay
