// SPDX-License-Identifier: MIT
#include "ORBRouteService/nowplaying/ORBNowPlaying.h"

#include "ORBRouteService/log/ORBDebugLog.h"
#include "ORBRouteService/log/flight/FlightRecorder.h"

#include "platform/foundation/SharedInstance.h"

#include <fmt/chrono.h>
#include <fmt/ranges.h>
#include <boost/json/serialize.hpp>

#include <algorithm>
#include <chrono>
#include <string>
#include <utility>
#include <vector>

namespace orb {
namespace {

using namespace mediaplayer;
using namespace mediaremote;
using Dictionary = MRAHelper::Dictionary;

constexpr auto quietBeforePublication = std::chrono::milliseconds(300);
constexpr double leastDuration = 0.1; // s, for a share of the duration
constexpr std::uint64_t allAudioTypes = 255;
constexpr appkit::ImageSize artworkBounds{500, 500};

/// Texts without their quotation marks, numbers as everywhere in the log.
std::string printed(const boost::json::value& value) {
    if (value.is_string()) {
        return std::string(value.get_string());
    }
    return value.is_double() ? fmt::format("{}", LogNumber{value.get_double()})
                             : boost::json::serialize(value);
}

std::shared_ptr<MPMediaItemArtwork> artworkOf(const Dictionary& info) {
    const std::shared_ptr<appkit::NSImage> image = MRAImageFrom(info);
    return image ? std::make_shared<MPMediaItemArtwork>(artworkBounds,
                                                        [image](const appkit::ImageSize& size) {
                                                            auto shown = image;
                                                            shown->setSize(size);
                                                            return shown;
                                                        })
                 : nullptr;
}

} // namespace

std::shared_ptr<ORBNowPlaying> ORBNowPlaying::create(const ORBNowPlayingContext& context) {
    std::shared_ptr<ORBNowPlaying> relay(new ORBNowPlaying(context));
    relay->observe();
    relay->updateNowPlaying();
    return relay;
}

ORBNowPlaying* ORBNowPlaying::shared() { return foundation::SharedInstance<ORBNowPlaying>::get(); }

void ORBNowPlaying::observe() {
    events_ = context_.mediaRemoteAdaptor.observeEvents(
        [weak = weak_from_this(), &mainQueue = context_.mainQueue](const Dictionary& event) {
            mainQueue.async([weak, event] {
                if (const auto relay = weak.lock()) {
                    relay->receive(event);
                }
            });
        });
}

void ORBNowPlaying::receive(const Dictionary& event) {
    const boost::json::value* payload = event.if_contains("payload");
    if (payload != nullptr && payload->is_object()) {
        update(payload->get_object());
    }
}

void ORBNowPlaying::setActive(bool active) {
    if (std::exchange(active_, active) != active) {
        recordFlight(FlightKind::nowPlaying, {.numbers = {active ? 1.0 : 0.0}});
        updateNowPlaying();
    }
}

void ORBNowPlaying::updateNowPlaying() {
    context_.mainQueue.assertCurrent();
    const Dictionary current =
        active_ ? context_.mediaRemoteAdaptor.nowPlayingInfo().value_or(Dictionary()) : Dictionary();
    info_ = current;
    artwork_.reset();
    update(current);
}

void ORBNowPlaying::update(const Dictionary& changes) {
    const bool wasPlaying = isPlaying();
    for (const auto& [key, value] : changes) {
        info_[key] = value;
    }
    if (active_ && wasPlaying) {
        lastActive_ = context_.mainQueue.clock().now();
    }
    mapToPlatformKeys();
    const bool pausedLongAgo = lastPause_.load() != dispatch::distantPast && !liesWithinTimeout(lastPause_);
    const bool show = active_ || liesWithinTimeout(lastActive_);
    if (wasPlaying && !isPlaying()) {
        pausedNow();
    }
    info_.erase(kMRAArtworkData);
    logInfo();
    publishSoon(show, isPlaying(), pausedLongAgo);
}

void ORBNowPlaying::pausedNow() {
    lastPause_ = context_.mainQueue.clock().now();
    ORBDebugLog(0, "Updated last pause time to {:%Y-%m-%d %H:%M:%S} +0000",
                std::chrono::floor<std::chrono::seconds>(context_.mainQueue.clock().wallNow()));
    context_.mainQueue.asyncAfter(dispatch::toNanoseconds(stopTimeout), [weak = weak_from_this()] {
        if (const auto relay = weak.lock()) {
            relay->updateNowPlaying();
        }
    });
}

void ORBNowPlaying::mapToPlatformKeys() {
    map(MPMediaItemPropertyAlbumTitle, kMRAAlbum);
    map(MPMediaItemPropertyAlbumArtist, kMRAArtist);
    map(MPMediaItemPropertyPlaybackDuration, kMRADuration);
    map(MPMediaItemPropertyTitle, kMRATitle);
    map(MPNowPlayingInfoPropertyElapsedPlaybackTime, kMRAElapsedTime);
    map(MPNowPlayingInfoPropertyPlaybackRate, kMRAPlaybackRate);
    info_[MPNowPlayingInfoPropertyDefaultPlaybackRate] = 1.0;
    info_[MPNowPlayingInfoPropertyPlaybackProgress] =
        number(kMRAElapsedTime) / std::max(number(kMRADuration), leastDuration);
    map(MPMediaItemPropertyPersistentID, kMRAUniqueIdentifier);
    info_[MPMediaItemPropertyMediaType] = allAudioTypes;
    if (auto artwork = artworkOf(info_)) {
        artwork_ = std::move(artwork);
    }
}

void ORBNowPlaying::map(const char* target, const char* source) {
    if (const boost::json::value* value = info_.if_contains(source)) {
        const boost::json::value copy = *value; // an insertion may move the values
        info_[target] = copy;
    } else {
        info_.erase(target);
    }
}

double ORBNowPlaying::number(const char* key) const {
    const boost::json::value* value = info_.if_contains(key);
    return value != nullptr && value->is_number() ? value->to_number<double>() : 0;
}

/// A flag counts as the number that it is.
bool ORBNowPlaying::isPlaying() const {
    const boost::json::value* playing = info_.if_contains(kMRAPlaying);
    return playing != nullptr && ((playing->is_bool() && playing->get_bool()) || number(kMRAPlaying) == 1);
}

bool ORBNowPlaying::liesWithinTimeout(dispatch::HostTime time) const {
    return dispatch::toSeconds(context_.mainQueue.clock().now() - time) < stopTimeout;
}

void ORBNowPlaying::logInfo() const {
    std::vector<std::string> lines;
    for (const auto& [key, value] : info_) {
        lines.push_back(fmt::format("{}: {}", std::string_view(key), printed(value)));
    }
    if (artwork_) {
        lines.push_back(fmt::format("{}: <MPMediaItemArtwork {} x {}>", MPMediaItemPropertyArtwork,
                                    artworkBounds.width, artworkBounds.height));
    }
    ORBDebugLog(0, "===== Now Playing Info Updated =====\n{})", fmt::join(lines, "\n"));
}

void ORBNowPlaying::publishSoon(bool show, bool isPlaying, bool pausedLongAgo) {
    using State = MPNowPlayingPlaybackState;
    const State state = !show           ? State::stopped
                        : isPlaying     ? State::playing
                        : pausedLongAgo ? State::stopped
                                        : State::paused;
    if (debounce_) {
        debounce_->cancel();
    }
    debounce_ = context_.mainQueue.asyncAfter(quietBeforePublication, [weak = weak_from_this(), show, state] {
        if (const auto relay = weak.lock()) {
            relay->context_.infoCenter.setNowPlayingInfo(
                show ? MPNowPlayingInfo{relay->info_, relay->artwork_} : MPNowPlayingInfo());
            relay->context_.infoCenter.setPlaybackState(state);
        }
    });
}

} // namespace orb
