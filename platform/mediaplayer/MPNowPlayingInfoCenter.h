// SPDX-License-Identifier: MIT
#pragma once

#include "platform/appkit/NSImage.h"
#include "platform/foundation/Observable.h"

#include <boost/json/object.hpp>

#include <functional>
#include <memory>

namespace mediaplayer {

/// Keys of what is published.
inline constexpr const char* MPMediaItemPropertyAlbumTitle = "MPMediaItemPropertyAlbumTitle";
inline constexpr const char* MPMediaItemPropertyAlbumArtist = "MPMediaItemPropertyAlbumArtist";
inline constexpr const char* MPMediaItemPropertyPlaybackDuration = "MPMediaItemPropertyPlaybackDuration"; // s
inline constexpr const char* MPMediaItemPropertyTitle = "MPMediaItemPropertyTitle";
inline constexpr const char* MPNowPlayingInfoPropertyElapsedPlaybackTime =
    "MPNowPlayingInfoPropertyElapsedPlaybackTime"; // s
inline constexpr const char* MPNowPlayingInfoPropertyPlaybackRate = "MPNowPlayingInfoPropertyPlaybackRate";
inline constexpr const char* MPNowPlayingInfoPropertyDefaultPlaybackRate =
    "MPNowPlayingInfoPropertyDefaultPlaybackRate";
inline constexpr const char* MPNowPlayingInfoPropertyPlaybackProgress =
    "MPNowPlayingInfoPropertyPlaybackProgress"; // 0 to 1
inline constexpr const char* MPMediaItemPropertyPersistentID = "MPMediaItemPropertyPersistentID";
inline constexpr const char* MPMediaItemPropertyMediaType = "MPMediaItemPropertyMediaType"; // bits
inline constexpr const char* MPMediaItemPropertyArtwork = "MPMediaItemPropertyArtwork";

/// A picture that is made in the size in which it is shown. Shared with whoever shows it.
class MPMediaItemArtwork {
  public:
    using RequestHandler = std::function<std::shared_ptr<appkit::NSImage>(const appkit::ImageSize& size)>;

    MPMediaItemArtwork(const appkit::ImageSize& boundsSize, RequestHandler requestHandler)
        : boundsSize_(boundsSize), requestHandler_(std::move(requestHandler)) {}

    const appkit::ImageSize& boundsSize() const { return boundsSize_; }
    std::shared_ptr<appkit::NSImage> imageWithSize(const appkit::ImageSize& size) const {
        return requestHandler_(size);
    }

  private:
    const appkit::ImageSize boundsSize_;
    const RequestHandler requestHandler_;
};

/// What is playing: values by their keys, and the artwork apart from them. A value.
struct MPNowPlayingInfo {
    boost::json::object values;
    std::shared_ptr<MPMediaItemArtwork> artwork; // may be null

    bool operator==(const MPNowPlayingInfo&) const = default;
};

enum class MPNowPlayingPlaybackState { unknown = 0, playing = 1, paused = 2, stopped = 3 };

/// What this process shows as now playing. One per process, made by the composition root. Main queue.
class MPNowPlayingInfoCenter {
  public:
    foundation::Observable<MPNowPlayingInfo>& nowPlayingInfo() { return nowPlayingInfo_; }
    void setNowPlayingInfo(MPNowPlayingInfo info) { nowPlayingInfo_.set(std::move(info)); }

    foundation::Observable<MPNowPlayingPlaybackState>& playbackState() { return playbackState_; }
    void setPlaybackState(MPNowPlayingPlaybackState state) { playbackState_.set(state); }

  private:
    foundation::Observable<MPNowPlayingInfo> nowPlayingInfo_;
    foundation::Observable<MPNowPlayingPlaybackState> playbackState_;
};

} // namespace mediaplayer
