// SPDX-License-Identifier: MIT
#include "platform/airplay/embedded/ReceiversFile.h"

#include "platform/airplay/embedded/LocatedJson.h"
#include "platform/foundation/JsonFile.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <set>
#include <utility>

namespace airplay {
namespace {

constexpr std::size_t maximumNameLength = 63;
constexpr std::size_t maximumEntryLength = 254; // a length byte of 255 would leave no room for the "="
constexpr double maximumConnectDelay = 3600;
constexpr std::size_t maximumDepth = 8;

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

/// Reads one file's text; every complaint names its place.
class Reader {
  public:
    Reader(std::string_view text, const std::filesystem::path& path) : text_(text), path_(path) {}

    std::vector<ReceiverEntry> read(const LocatedJson& root) {
        requireKeys(root, {"version", "receivers"}, {});
        const LocatedJson& version = *find(root, "version");
        const auto* number = version.value.if_int64();
        require(number != nullptr && *number == 1, version.offset, "\"version\" must be 1");
        const LocatedJson& receivers = *find(root, "receivers");
        require(receivers.value.is_array(), receivers.offset, "\"receivers\" must be an array");
        std::vector<ReceiverEntry> entries;
        for (const LocatedJson& element : receivers.elements) {
            require(entries.size() < ReceiversFile::maximumReceivers, element.offset,
                    fmt::format("more than {} receivers", ReceiversFile::maximumReceivers));
            entries.push_back(entry(element));
        }
        return entries;
    }

  private:
    void require(bool condition, std::size_t offset, const std::string& reason) const {
        if (condition) {
            return;
        }
        const std::string_view before = text_.substr(0, offset);
        const std::size_t lineStart = before.rfind('\n') + 1; // 0 when there is none
        const auto beginsCharacter = [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U; };
        throw ReceiversFileError(
            fmt::format("{}:{}:{}: {}", path_.string(), std::ranges::count(before, '\n') + 1,
                        std::ranges::count_if(before.substr(lineStart), beginsCharacter) + 1, reason));
    }

    static const LocatedJson* find(const LocatedJson& object, std::string_view key) {
        const auto member = std::ranges::find(object.members, key, &LocatedJson::Member::key);
        return member != object.members.end() ? &member->value : nullptr;
    }

    /// An object with all of `required`, any of `optional`, each once, and nothing else.
    void requireKeys(const LocatedJson& object, std::initializer_list<std::string_view> required,
                     std::initializer_list<std::string_view> optional) const {
        require(object.value.is_object(), object.offset, "must be an object");
        for (const auto& member : object.members) {
            const auto isKey = [&](std::string_view key) { return key == member.key; };
            require(std::ranges::any_of(required, isKey) || std::ranges::any_of(optional, isKey),
                    member.offset, fmt::format("unknown key \"{}\"", member.key));
            require(find(object, member.key) == &member.value, member.offset,
                    fmt::format("key \"{}\" is given twice", member.key));
        }
        for (const std::string_view key : required) {
            require(find(object, key) != nullptr, object.offset, fmt::format("key \"{}\" is missing", key));
        }
    }

    ReceiverEntry entry(const LocatedJson& object) {
        requireKeys(object, {"name", "id"}, {"file", "txt", "volume", "connectDelay"});
        ReceiverEntry entry;
        entry.description.name = text(object, "name", maximumNameLength);
        entry.description.identifier = identifier(object);
        if (const LocatedJson* txt = find(object, "txt")) {
            entry.description.txt = txtRecord(*txt);
        }
        if (find(object, "file") != nullptr) {
            entry.file = file(object);
        }
        entry.volume = static_cast<float>(number(object, "volume", 1, 1));
        entry.connectDelay = dispatch::toNanoseconds(number(object, "connectDelay", 0, maximumConnectDelay));
        return entry;
    }

    std::string text(const LocatedJson& object, std::string_view key, std::size_t limit) const {
        const LocatedJson& found = *find(object, key);
        const auto* string = found.value.if_string();
        require(string != nullptr && !string->empty() && string->size() <= limit &&
                    string->find('\0') == boost::json::string::npos,
                found.offset, fmt::format("\"{}\" must be a text of 1 to {} bytes", key, limit));
        return std::string(*string);
    }

    std::string identifier(const LocatedJson& object) {
        const LocatedJson& found = *find(object, "id");
        const auto* string = found.value.if_string();
        require(string != nullptr && isIdentifier(*string), found.offset,
                "\"id\" must be six pairs of hexadecimal digits with colons between");
        require(identifiers_.insert(upperCase(*string)).second, found.offset,
                fmt::format("id \"{}\" is given to two receivers", std::string_view(*string)));
        return std::string(*string);
    }

    std::filesystem::path file(const LocatedJson& object) {
        constexpr std::size_t longestPath = 4095;
        std::filesystem::path file =
            (path_.parent_path() / text(object, "file", longestPath)).lexically_normal();
        const std::size_t offset = find(object, "file")->offset;
        const bool isDirectory = !file.has_filename() || file.filename() == "." || file.filename() == "..";
        require(!isDirectory, offset, "\"file\" must name a file, not a directory");
        require(files_.insert(file).second, offset, "\"file\" is given to two receivers");
        return file;
    }

    std::map<std::string, std::string> txtRecord(const LocatedJson& object) const {
        require(object.value.is_object(), object.offset, "\"txt\" must be an object");
        std::map<std::string, std::string> record;
        std::set<std::string> seen;
        for (const auto& [key, offset, value] : object.members) {
            require(isTxtKey(key), offset, "a TXT key must be printable ASCII without \"=\"");
            require(seen.insert(upperCase(key)).second, offset,
                    fmt::format("key \"{}\" is given twice", key));
            const auto* string = value.value.if_string();
            require(string != nullptr, value.offset, fmt::format("TXT entry \"{}\" must be a text", key));
            require(key.size() + string->size() <= maximumEntryLength, value.offset,
                    fmt::format("TXT entry \"{}\" is longer than {} bytes", key, maximumEntryLength));
            record.emplace(key, std::string(*string));
        }
        return record;
    }

    double number(const LocatedJson& object, std::string_view key, double absent, double limit) const {
        const LocatedJson* found = find(object, key);
        if (found == nullptr) {
            return absent;
        }
        const bool isNumber = found->value.is_number();
        const double number = isNumber ? found->value.to_number<double>() : 0;
        require(isNumber && number >= 0 && number <= limit, found->offset,
                fmt::format("\"{}\" must be a number from 0 to {}", key, limit));
        return number;
    }

    const std::string_view text_;
    const std::filesystem::path& path_;
    std::set<std::string> identifiers_;
    std::set<std::filesystem::path> files_;
};

std::string contentOf(const std::filesystem::path& path) {
    const auto fail = [&](std::string_view reason) {
        throw ReceiversFileError(fmt::format("{}: {}", path.string(), reason));
    };
    std::error_code error;
    const auto status = std::filesystem::status(path, error);
    if (!std::filesystem::exists(status)) {
        fail("there is no such file");
    }
    if (!std::filesystem::is_regular_file(status)) { // opening a pipe would wait for a writer
        fail("is not a regular file");
    }
    std::ifstream stream(path, std::ios::binary);
    std::string text(ReceiversFile::maximumSize + 1, '\0');
    stream.read(text.data(), static_cast<std::streamsize>(text.size()));
    if (!stream.eof() && !stream) {
        fail("cannot be read");
    }
    text.resize(static_cast<std::size_t>(stream.gcount()));
    if (text.size() > ReceiversFile::maximumSize) {
        fail(fmt::format("is larger than {} bytes", ReceiversFile::maximumSize));
    }
    return text;
}

} // namespace

std::vector<ReceiverEntry> ReceiversFile::read(const std::filesystem::path& path) {
    return parse(contentOf(path), path);
}

std::vector<ReceiverEntry> ReceiversFile::parse(std::string_view text, const std::filesystem::path& path) {
    try {
        foundation::parseJsonText(text, path, {.size = maximumSize, .depth = maximumDepth});
    } catch (const foundation::JsonFileError& error) {
        throw ReceiversFileError(error.what());
    }
    return Reader(text, path).read(locateJson(text));
}

} // namespace airplay
