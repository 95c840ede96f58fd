// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dispatch/Queue.h"
#include "platform/mediaplayer/MPNowPlayingInfoCenter.h"
#include "platform/mediaremote/MRAHelper.h"

#include <atomic>
#include <memory>

namespace orb {

/// What the relay works with; all outlive it.
struct ORBNowPlayingContext {
    dispatch::Queue& mainQueue;
    mediaremote::MRAHelper& mediaRemoteAdaptor;
    mediaplayer::MPNowPlayingInfoCenter& infoCenter;
};

/// Shows what the user's media application plays as what this process plays, while it is mirrored.
///
///     event or switch -> merge, map, 0.3 s without another one -> published
///     pause           -> 120 s -> published as stopped
///
/// One per process, made by the composition root; shared because delayed work holds it weakly. Main queue;
/// `lastPause` from any thread.
class ORBNowPlaying final : public std::enable_shared_from_this<ORBNowPlaying> {
  public:
    static constexpr double stopTimeout =
        120.0; // s from a pause, or the last activity, to the end of showing it

    /// Observes from then on, and publishes for the first time 0.3 s later.
    static std::shared_ptr<ORBNowPlaying> create(const ORBNowPlayingContext& context);

    /// The one of the process, see `foundation::SharedInstance`; nullptr when there is none.
    static ORBNowPlaying* shared();

    /// Whether sound is mirrored. Switching it takes over what is playing now, or nothing.
    bool active() const { return active_; }
    void setActive(bool active);

    /// Takes over what is playing now, while active.
    void updateNowPlaying();

    /// When playing last turned into not playing; `dispatch::distantPast`: never.
    dispatch::HostTime lastPause() const { return lastPause_.load(); }

  private:
    using Dictionary = mediaremote::MRAHelper::Dictionary;

    explicit ORBNowPlaying(const ORBNowPlayingContext& context) : context_(context) {}

    void observe();
    void receive(const Dictionary& event);
    void update(const Dictionary& changes);
    void pausedNow();
    void mapToPlatformKeys();
    void map(const char* target, const char* source);
    double number(const char* key) const;
    bool isPlaying() const;
    /// False from the very end of the timeout on, which is when the refresh after a pause looks.
    bool liesWithinTimeout(dispatch::HostTime time) const;
    void logInfo() const;
    void publishSoon(bool show, bool isPlaying, bool pausedLongAgo);

    const ORBNowPlayingContext context_;
    Dictionary info_; // as received, and as derived from it
    std::shared_ptr<mediaplayer::MPMediaItemArtwork> artwork_;
    bool active_ = false;
    std::atomic<dispatch::HostTime> lastPause_{dispatch::distantPast}; // by the main queue, read by anybody
    dispatch::HostTime lastActive_ = dispatch::distantPast; // last update seen while active and playing
    std::shared_ptr<dispatch::DelayedWork> debounce_;       // the publication that is pending
    foundation::Subscription events_;
};

} // namespace orb
