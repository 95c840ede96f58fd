// SPDX-License-Identifier: MIT
#include "platform/foundation/coding/URL.h"

#include "platform/foundation/coding/DecodingError.h"

#include <boost/url/src.hpp> // the library's own code: this is its one place
#include <boost/url/url.hpp>
#include <boost/url/url_view.hpp>

namespace foundation {

std::optional<URL> URL::fromString(std::string_view text) {
    const auto parsed = boost::urls::parse_uri(boost::core::string_view(text.data(), text.size()));
    return parsed ? std::optional(URL(std::string(text))) : std::nullopt;
}

URL URL::forFile(const std::filesystem::path& path) {
    boost::urls::url url("file:///");
    url.set_path(path.string());
    return URL(std::string(url.buffer()));
}

std::optional<std::filesystem::path> URL::filePath() const {
    const auto parsed = boost::urls::parse_uri(text_);
    const bool isLocal = parsed->scheme() == "file" &&
                         (parsed->host().empty() || parsed->host() == "localhost") && !parsed->path().empty();
    return isLocal ? std::optional(std::filesystem::path(std::string(parsed->path()))) : std::nullopt;
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
