// SPDX-License-Identifier: MIT
#include "platform/mediaremote/embedded/NowPlayingFile.h"

#include <utility>

namespace mediaremote {
namespace {

constexpr foundation::JsonFileLimits limits{.size = std::size_t{16} * 1024 * 1024,
                                            .depth = 8}; // artwork is large

foundation::JsonFile fileIn(const foundation::RuntimeDirectory& runtimeDirectory) {
    return foundation::JsonFile(runtimeDirectory.path() / "now-playing.json", limits);
}

} // namespace

NowPlayingFile::NowPlayingFile(dispatch::Queue& mainQueue,
                               const foundation::RuntimeDirectory& runtimeDirectory,
                               std::function<void(const std::string& line)> report)
    : file_(fileIn(runtimeDirectory)),
      report_(std::move(report)),
      watcher_(mainQueue, file_.path(), [this] { changed(); }) {}

std::optional<MRAHelper::Dictionary> NowPlayingFile::nowPlayingInfo() {
    try {
        const std::optional<boost::json::value> stored = file_.read();
        const boost::json::object* root = stored ? stored->if_object() : nullptr;
        const boost::json::value* info = root != nullptr ? root->if_contains("info") : nullptr;
        return info != nullptr && info->is_object() ? std::optional(info->get_object()) : std::nullopt;
    } catch (const foundation::JsonFileError& error) {
        report_(error.what());
        return std::nullopt;
    }
}

foundation::Subscription NowPlayingFile::observeEvents(std::function<void(const Dictionary& event)> handler) {
    return event_.observe(std::move(handler));
}

void NowPlayingFile::write(const foundation::RuntimeDirectory& runtimeDirectory, const Dictionary& info) {
    fileIn(runtimeDirectory).replace(boost::json::object{{"version", 1}, {"info", info}});
}

void NowPlayingFile::changed() {
    if (const std::optional<Dictionary> info = nowPlayingInfo()) {
        event_.set({{"type", "data"}, {"payload", *info}});
    }
}

} // namespace mediaremote
