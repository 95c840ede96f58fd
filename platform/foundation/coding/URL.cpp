// SPDX-License-Identifier: MIT
#include "platform/foundation/coding/URL.h"

#include "platform/foundation/coding/DecodingError.h"

#include <uriparser/Uri.h>

namespace foundation {
namespace {

constexpr std::string_view filePrefix = "file:///"; // of this machine; what follows begins the path

/// Whether it is a URL with a scheme.
bool isAbsolute(const std::string& text) {
    UriUriA uri;
    if (uriParseSingleUriA(&uri, text.c_str(), nullptr) != URI_SUCCESS) {
        return false;
    }
    const bool hasScheme = uri.scheme.first != uri.scheme.afterLast;
    uriFreeUriMembersA(&uri);
    return hasScheme;
}

} // namespace

std::optional<URL> URL::fromString(std::string_view text) {
    std::string copy(text);
    const bool isOneText = copy.find('\0') == copy.npos;
    return isOneText && isAbsolute(copy) ? std::optional(URL(std::move(copy))) : std::nullopt;
}

URL URL::forFile(const std::filesystem::path& path) {
    const std::string name = path.string();
    constexpr std::size_t longestCharacter = 3; // "%41"
    std::string text(filePrefix.size() + longestCharacter * name.size() + 1, '\0');
    uriUnixFilenameToUriStringA(name.c_str(), text.data());
    text.resize(text.find('\0'));
    return URL(std::move(text));
}

std::optional<std::filesystem::path> URL::filePath() const {
    const std::string_view url(text_);
    const std::string named = text_.substr(0, url.find_first_of("?#"));
    if (!named.starts_with(filePrefix)) {
        return std::nullopt;
    }
    std::string name(named.size() + 1, '\0');
    uriUriStringToUnixFilenameA(named.c_str(), name.data());
    name.resize(name.find('\0'));
    return std::filesystem::path(name);
}

boost::json::value Coding<URL>::encode(const URL& url) { return boost::json::string(url.absoluteString()); }

URL Coding<URL>::decode(const boost::json::value& coded, const CodingPath& path) {
    const std::string text = Coding<std::string>::decode(coded, path);
    std::optional<URL> url = URL::fromString(text);
    if (!url) {
        throw DecodingError(DecodingError::Kind::dataCorrupted, path, "Invalid URL string.");
    }
    return *url;
}

} // namespace foundation
