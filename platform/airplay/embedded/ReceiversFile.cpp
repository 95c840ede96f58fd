// SPDX-License-Identifier: MIT
#include "platform/airplay/embedded/ReceiversFile.h"

#include "platform/airplay/embedded/LocatedJson.h"
#include "platform/airplay/embedded/LocatedReader.h"
#include "platform/airplay/embedded/ReceiverEntryReader.h"
#include "platform/foundation/JsonFile.h"
#include "platform/foundation/StandardPaths.h"

#include <fmt/format.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <system_error>

namespace airplay {
namespace {

constexpr std::size_t maximumDepth = 8;

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

std::filesystem::path ReceiversFile::standardPath() {
    const char* file = std::getenv("ORB_RECEIVERS_FILE");
    return file != nullptr && *file != '\0' ? std::filesystem::path(file)
                                            : foundation::standardConfigPath() / "receivers.json";
}

std::vector<ReceiverEntry> ReceiversFile::read(const std::filesystem::path& path) {
    return parse(contentOf(path), path);
}

std::vector<ReceiverEntry> ReceiversFile::parse(std::string_view text, const std::filesystem::path& path) {
    try {
        foundation::parseJsonText(text, path, {.size = maximumSize, .depth = maximumDepth});
    } catch (const foundation::JsonFileError& error) {
        throw ReceiversFileError(error.what());
    }
    const LocatedJson root = locateJson(text);
    const LocatedReader reader(text, path);
    reader.requireKeys(root, {"version", "receivers"}, {});
    const LocatedJson& version = *LocatedReader::find(root, "version");
    const auto* number = version.value.if_int64();
    reader.require(number != nullptr && *number == 1, version.offset, "\"version\" must be 1");
    const LocatedJson& receivers = *LocatedReader::find(root, "receivers");
    reader.require(receivers.value.is_array(), receivers.offset, "\"receivers\" must be an array");
    ReceiverEntryReader entryReader(text, path);
    std::vector<ReceiverEntry> entries;
    for (const LocatedJson& element : receivers.elements) {
        reader.require(entries.size() < maximumReceivers, element.offset,
                       fmt::format("more than {} receivers", maximumReceivers));
        entries.push_back(entryReader.read(element));
    }
    return entries;
}

} // namespace airplay
