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
    const std::vector<float> silence(blockFrames * channelCount);
    for (auto left = std::llround(seconds * framesPerSecond); left > 0; left -= std::ssize(silence) / 2)
        client.write(silence);
}

} // namespace

SourceSoundOptions sourceOptions(const std::vector<std::filesystem::path>& files,
                                 std::optional<double> atLeastSeconds,
                                 std::optional<double> durationSeconds) {
    SourceSoundOptions options{.files = files, .atLeastSeconds = atLeastSeconds};
    if (durationSeconds)
        options.lengthFrames = std::llround(*durationSeconds * framesPerSecond);
    return options;
}

void play(const PlayOptions& options) {
    const auto sound =
        SourceSound::open(sourceOptions(options.soundFiles, options.atLeastSeconds, options.durationSeconds));
    lmn::PlayerClient client(options.socket, lmn::PlayerHello{.name = "mirrorlab"});
    std::vector<float> block(blockFrames * channelCount);
    while (const std::size_t frames = sound->read(block))
        client.write({block.data(), frames * channelCount});
    sendTail(client, options.tailSeconds);
}

} // namespace mirrorlab
