// SPDX-License-Identifier: MIT
#pragma once

#include "platform/appkit/NSImage.h"
#include "platform/foundation/Subscription.h"

#include <boost/json/object.hpp>

#include <functional>
#include <memory>
#include <optional>

namespace mediaremote {

/// Keys of a now-playing dictionary, as whoever plays fills it in.
inline constexpr const char* kMRATitle = "title";                       // text
inline constexpr const char* kMRAArtist = "artist";                     // text
inline constexpr const char* kMRAAlbum = "album";                       // text
inline constexpr const char* kMRADuration = "duration";                 // s
inline constexpr const char* kMRAElapsedTime = "elapsedTime";           // s
inline constexpr const char* kMRAPlaybackRate = "playbackRate";         // 1 is natural
inline constexpr const char* kMRAPlaying = "playing";                   // 1 while it plays
inline constexpr const char* kMRAUniqueIdentifier = "uniqueIdentifier"; // of the item
inline constexpr const char* kMRAArtworkData = "artworkData";           // Base64 of a PNG or JPEG file

/// What the media application of the user is playing. The seam to such applications; made by the composition
/// root. Main queue.
class MRAHelper {
  public:
    using Dictionary = boost::json::object;

    MRAHelper() = default;
    virtual ~MRAHelper() = default;
    MRAHelper(const MRAHelper&) = delete;
    MRAHelper& operator=(const MRAHelper&) = delete;

    /// nullopt when nothing has been played.
    virtual std::optional<Dictionary> nowPlayingInfo() = 0;

    /// Calls the handler on the main queue with an event for each change; its "payload" is a dictionary of
    /// what is now so.
    [[nodiscard]] virtual foundation::Subscription observeEvents(
        std::function<void(const Dictionary& event)> handler) = 0;
};

/// The artwork in a now-playing dictionary; nullptr when there is none that can be shown.
std::shared_ptr<appkit::NSImage> MRAImageFrom(const MRAHelper::Dictionary& nowPlayingInfo);

} // namespace mediaremote
