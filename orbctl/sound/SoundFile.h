// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "orbctl/sound/Frames.h"

namespace orbctl {

/// Why a sound file cannot be used. `what()` is "<path>: <reason>".
class SoundFileError : public std::runtime_error {
  public:
    SoundFileError(const std::filesystem::path& file, const std::string& reason);

    const std::filesystem::path& file() const { return file_; }
    const std::string& reason() const { return reason_; }

  private:
    std::filesystem::path file_;
    std::string reason_;
};

/// One sound file of any format, rate and channel count, heard as stereo at 44100 Hz.
///
/// Mono goes to both channels; of more than two channels the first two are used. Other rates (8000 to 192000
/// Hz) are resampled at very high quality with the resampler drained at the end of the file. Every sample is
/// finite and no zero is negative. The frames do not depend on the sizes of the reads. Owned and used by one
/// thread.
class SoundFile final : public FrameReader {
  public:
    /// Throws SoundFileError when the file is missing, unreadable, empty, or outside the accepted rates.
    explicit SoundFile(const std::filesystem::path& file);
    ~SoundFile() override;

    /// Throws SoundFileError when the file ends without having yielded a frame.
    std::size_t read(std::span<float> interleaved) override;

    /// Frames at 44100 Hz as the file's header promises them; the decoded count may differ.
    FrameNumber announcedFrames() const;

    /// Plain sentences about what was changed or missing; complete once the stream has ended.
    std::vector<std::string> notices() const;

  private:
    struct State;
    std::unique_ptr<State> state_;
};

/// A receiver's recording, read as it was written: stereo at 44100 Hz, no sample changed.
class RecordingFile final : public FrameReader {
  public:
    /// Throws SoundFileError when the file is unreadable or not 32-bit float, stereo, 44100 Hz.
    explicit RecordingFile(const std::filesystem::path& file);
    ~RecordingFile() override;

    std::size_t read(std::span<float> interleaved) override;

  private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace orbctl
