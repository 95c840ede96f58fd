// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "orbctl/sound/Frames.h"
#include "orbctl/sound/SoundFile.h"

namespace orbctl {

/// Which sound is streamed and for how long. With neither length given the list is heard once.
struct SourceSoundOptions {
    /// Sound files, joined in this order; at least one.
    std::vector<std::filesystem::path> files = {};

    /// The whole list is repeated, never cut, until the stream lasts at least this many seconds.
    std::optional<double> atLeastSeconds = std::nullopt;

    /// The stream has exactly this many frames: the list is repeated and cut. Goes before `atLeastSeconds`.
    std::optional<FrameNumber> lengthFrames = std::nullopt;

    /// One pass over the list is kept in memory when it has no more frames than this (8 bytes each), and is
    /// decoded anew for every repetition otherwise. Default: five minutes, about 106 MB.
    FrameNumber cacheLimitFrames = 300 * framesPerSecond;
};

/// The sound that goes into the audio path, as a stream of any length.
///
/// Two instances opened on the same options and files yield the identical frames, whatever sizes are read:
/// the player streams one while the checker reads another. Owned and used by one thread.
class SourceSound final : public FrameReader {
  public:
    /// Opens and checks every file. Throws SoundFileError naming the first unusable file, and
    /// std::invalid_argument for an empty list or a length that is negative or not finite.
    static std::unique_ptr<SourceSound> open(SourceSoundOptions options);

    /// Throws SoundFileError when a file turns out to hold no decodable frame.
    std::size_t read(std::span<float> interleaved) override;

    /// Frames of the whole stream: known at once for `lengthFrames`, else after the first pass over the list.
    std::optional<FrameNumber> totalFrames() const;

    /// Plain sentences about what was changed or missing in the files met so far, each said once.
    std::vector<std::string> notices() const;

  private:
    explicit SourceSound(SourceSoundOptions options);

    std::size_t readPass(std::span<float> interleaved);
    std::size_t readFiles(std::span<float> interleaved);
    std::size_t readCache(std::span<float> interleaved);
    void keepForRepetition(std::span<const float> interleaved);
    void endPass();

    SourceSoundOptions options_;
    std::vector<std::string> notices_; // of the files already heard to their end
    std::unique_ptr<SoundFile> current_;
    std::size_t nextFile_ = 0;
    std::vector<float> cache_;
    bool caching_ = false;
    std::size_t cachePosition_ = 0;         // in samples, of the pass heard from the cache
    std::optional<FrameNumber> passFrames_; // known after the first pass
    FrameNumber framesInPass_ = 0;
    FrameNumber delivered_ = 0;
};

} // namespace orbctl
