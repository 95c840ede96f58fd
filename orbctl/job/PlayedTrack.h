// SPDX-License-Identifier: MIT
#pragma once

#include "platform/foundation/coding/Data.h"

#include <boost/json/object.hpp>

#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace orbctl {

/// What a sound file says of itself. A value.
struct PlayedTrack {
    std::string title; // the file's name where it has none
    std::string artist = {};
    std::string album = {};
    double duration = 0; // s, as its header promises
    std::optional<foundation::Data> artwork = {};

    /// Of a file that can be opened; else only the title.
    static PlayedTrack of(const std::filesystem::path& file);

    /// As a now-playing dictionary, `elapsed` seconds after its beginning.
    boost::json::object nowPlaying(double elapsed, bool isPlaying) const;
};

/// The index of the track that is heard `position` seconds into a list that is not empty, and the seconds
/// into that track.
std::pair<std::size_t, double> trackAt(const std::vector<PlayedTrack>& tracks, double position);

} // namespace orbctl
