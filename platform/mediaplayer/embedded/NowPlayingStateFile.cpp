// SPDX-License-Identifier: MIT
#include "platform/mediaplayer/embedded/NowPlayingStateFile.h"

#include "platform/foundation/coding/Base64.h"

#include <utility>

namespace mediaplayer {
namespace {

constexpr foundation::JsonFileLimits limits{.size = std::size_t{16} * 1024 * 1024,
                                            .depth = 8}; // artwork is large

const char* nameOf(MPNowPlayingPlaybackState state) {
    switch (state) {
        case MPNowPlayingPlaybackState::unknown:
            break;
        case MPNowPlayingPlaybackState::playing:
            return "playing";
        case MPNowPlayingPlaybackState::paused:
            return "paused";
        case MPNowPlayingPlaybackState::stopped:
            return "stopped";
    }
    return "unknown";
}

boost::json::object described(const MPMediaItemArtwork& artwork) {
    const auto image = artwork.imageWithSize(artwork.boundsSize());
    return {{"mimeType", image->mimeType()},
            {"width", image->size().width},
            {"height", image->size().height},
            {"data", foundation::base64(image->data())}};
}

} // namespace

NowPlayingStateFile::NowPlayingStateFile(MPNowPlayingInfoCenter& center, dispatch::Queue& mainQueue,
                                         std::filesystem::path path,
                                         std::function<void(const std::string& line)> report)
    : center_(center),
      file_(std::move(path), limits),
      report_(std::move(report)),
      changed_(mainQueue, [this] { write(); }),
      infoSubscription_(center.nowPlayingInfo().observe([this](const auto&) { changed_.raise(); })),
      stateSubscription_(center.playbackState().observe([this](auto) { changed_.raise(); })) {}

void NowPlayingStateFile::write() {
    const MPNowPlayingInfo info = center_.nowPlayingInfo().get();
    boost::json::object values = info.values;
    if (info.artwork) {
        values[MPMediaItemPropertyArtwork] = described(*info.artwork);
    }
    try {
        file_.replace(boost::json::object{
            {"version", 1}, {"playbackState", nameOf(center_.playbackState().get())}, {"info", values}});
    } catch (const foundation::JsonFileError& error) {
        report_(error.what());
    }
}

} // namespace mediaplayer
