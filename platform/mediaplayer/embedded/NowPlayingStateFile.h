// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dispatch/Signal.h"
#include "platform/foundation/JsonFile.h"
#include "platform/mediaplayer/MPNowPlayingInfoCenter.h"

#include <filesystem>
#include <string>

namespace mediaplayer {

/// Keeps a file with what a centre shows, for programs outside:
///
///     {"version":1,"playbackState":"playing","info":{"MPMediaItemPropertyTitle":"…",…}}
///
/// The artwork is `{"mimeType":…,"width":…,"height":…,"data":…}`, Base64. Changes of one turn of the main
/// queue are written once. A file that cannot be written is reported. Made beside the centre, which outlives
/// it; main queue.
class NowPlayingStateFile {
  public:
    NowPlayingStateFile(MPNowPlayingInfoCenter& center, dispatch::Queue& mainQueue,
                        std::filesystem::path path, std::function<void(const std::string& line)> report);

  private:
    void write();

    MPNowPlayingInfoCenter& center_;
    const foundation::JsonFile file_;
    const std::function<void(const std::string& line)> report_;
    dispatch::Signal changed_;
    foundation::Subscription infoSubscription_;
    foundation::Subscription stateSubscription_;
};

} // namespace mediaplayer
