// SPDX-License-Identifier: MIT
#pragma once

namespace mediaplayer {

/// Whether the system offers a command to the user.
class MPRemoteCommand {
  public:
    bool isEnabled() const { return isEnabled_; }
    void setEnabled(bool isEnabled) { isEnabled_ = isEnabled; }

  private:
    bool isEnabled_ = true;
};

/// The commands that remote controls may send to this process. One per process, made by the composition root.
/// Main queue.
struct MPRemoteCommandCenter {
    MPRemoteCommand playCommand;
    MPRemoteCommand pauseCommand;
    MPRemoteCommand togglePlayPauseCommand;
    MPRemoteCommand nextTrackCommand;
    MPRemoteCommand changePlaybackPositionCommand;
};

} // namespace mediaplayer
