// SPDX-License-Identifier: MIT
#include "bench/mirrorlab/PlayCommand.h"

#include "platform/lmn/embedded/PlayerClient.h"

#include <cmath>

namespace mirrorlab {
namespace {

/// Frames sent at once.
constexpr std::size_t blockFrames = 8192;

/// Silence, so that the end of the sound is heard before the player is gone: when nobody plays any more, the
/// mirror device drops what is still on its way.
void sendTail(lmn::PlayerClient& client, double seconds) {
    const std::vector<float> silence(blockFrames * orbctl::channelCount);
    for (auto left = std::llround(seconds * orbctl::framesPerSecond); left > 0;
         left -= std::ssize(silence) / 2)
        client.write(silence);
}

} // namespace

orbctl::SourceSoundOptions sourceOptions(const std::vector<std::filesystem::path>& files,
                                         std::optional<double> atLeastSeconds,
                                         std::optional<double> durationSeconds) {
    orbctl::SourceSoundOptions options{.files = files, .atLeastSeconds = atLeastSeconds};
    if (durationSeconds)
        options.lengthFrames = std::llround(*durationSeconds * orbctl::framesPerSecond);
    return options;
}

void play(const PlayOptions& options) {
    const auto sound = orbctl::SourceSound::open(
        sourceOptions(options.soundFiles, options.atLeastSeconds, options.durationSeconds));
    lmn::PlayerClient client(options.socket, lmn::PlayerHello{.name = "mirrorlab"});
    std::vector<float> block(blockFrames * orbctl::channelCount);
    while (const std::size_t frames = sound->read(block))
        client.write({block.data(), frames * orbctl::channelCount});
    sendTail(client, options.tailSeconds);
}

} // namespace mirrorlab
