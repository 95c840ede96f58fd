// SPDX-License-Identifier: MIT
#pragma once

#include "bench/mirrorlab/LabOptions.h"
#include "orbctl/sound/SourceSound.h"

namespace mirrorlab {

/// The sound that the options name.
orbctl::SourceSoundOptions sourceOptions(const std::vector<std::filesystem::path>& files,
                                         std::optional<double> atLeastSeconds,
                                         std::optional<double> durationSeconds);

/// Streams sound files into a device, as any player would, until they end. Blocks. Throws SoundFileError,
/// lmn::PlayerProtocolError and std::system_error.
void play(const PlayOptions& options);

} // namespace mirrorlab
