// SPDX-License-Identifier: MIT
#include "orbctl/job/PlayedTrack.h"

#include "orbctl/job/CoverArt.h"

#include "ORBRouteService/devices/isUTF8.h"

#include "platform/foundation/coding/Base64.h"
#include "platform/mediaremote/MRAHelper.h"

#include <fmt/format.h>
#include <sndfile.h>

#include <memory>
#include <utility>

namespace orbctl {
namespace {

std::string tagOf(SNDFILE* sound, int tag) {
    const char* text = sf_get_string(sound, tag);
    return text != nullptr && orb::isUTF8(text) ? text : "";
}

} // namespace

PlayedTrack PlayedTrack::of(const std::filesystem::path& file) {
    PlayedTrack track{.title = file.stem().string()};
    SF_INFO info{};
    const std::unique_ptr<SNDFILE, decltype(&sf_close)> sound(sf_open(file.c_str(), SFM_READ, &info),
                                                              &sf_close);
    if (sound) {
        const std::string title = tagOf(sound.get(), SF_STR_TITLE);
        track.title = title.empty() ? track.title : title;
        track.artist = tagOf(sound.get(), SF_STR_ARTIST);
        track.album = tagOf(sound.get(), SF_STR_ALBUM);
        track.artwork = coverArt(file);
        track.duration = static_cast<double>(info.frames) / info.samplerate;
    }
    return track;
}

boost::json::object PlayedTrack::nowPlaying(double elapsed, bool isPlaying) const {
    boost::json::object info{
        {mediaremote::kMRATitle, title},
        {mediaremote::kMRAElapsedTime, elapsed},
        {mediaremote::kMRAPlaybackRate, isPlaying ? 1 : 0},
        {mediaremote::kMRAPlaying, isPlaying ? 1 : 0},
        {mediaremote::kMRAUniqueIdentifier, fmt::format("{}/{}/{}", artist, album, title)}};
    if (!artist.empty()) {
        info[mediaremote::kMRAArtist] = artist;
    }
    if (!album.empty()) {
        info[mediaremote::kMRAAlbum] = album;
    }
    if (duration > 0) {
        info[mediaremote::kMRADuration] = duration;
    }
    if (artwork) {
        info[mediaremote::kMRAArtworkData] = foundation::base64(*artwork);
    }
    return info;
}

std::pair<std::size_t, double> trackAt(const std::vector<PlayedTrack>& tracks, double position) {
    std::size_t index = 0;
    while (index + 1 < tracks.size() && position >= tracks[index].duration) {
        position -= tracks[index++].duration;
    }
    return {index, position};
}

} // namespace orbctl
