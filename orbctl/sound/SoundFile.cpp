// SPDX-License-Identifier: MIT
#include "orbctl/sound/SoundFile.h"

#include <fmt/format.h>
#include <sndfile.h>
#include <soxr.h>

#include <algorithm>
#include <cmath>

namespace orbctl {

namespace {

constexpr int lowestRate = 8000;
constexpr int highestRate = 192000;

// Frames decoded at once. Fixed, so that the resampler sees the same blocks whatever sizes are read.
constexpr std::size_t decodeFrames = 4096;

struct CloseSoundFile {
    void operator()(SNDFILE* file) const { sf_close(file); }
};
using SoundFileHandle = std::unique_ptr<SNDFILE, CloseSoundFile>;

struct DeleteResampler {
    void operator()(soxr_t resampler) const { soxr_delete(resampler); }
};
using ResamplerHandle = std::unique_ptr<std::remove_pointer_t<soxr_t>, DeleteResampler>;

SoundFileHandle openForReading(const std::filesystem::path& path, SF_INFO& info) {
    std::error_code error;
    const auto status = std::filesystem::status(path, error);
    if (!std::filesystem::exists(status)) {
        throw SoundFileError(path, "there is no such file");
    }
    if (!std::filesystem::is_regular_file(status)) {
        throw SoundFileError(path, "is not a regular file");
    }
    if (std::filesystem::file_size(path, error) == 0 && !error) {
        throw SoundFileError(path, "the file is empty");
    }
    info = SF_INFO{};
    SoundFileHandle handle(sf_open(path.c_str(), SFM_READ, &info));
    if (!handle) {
        throw SoundFileError(path, fmt::format("cannot be read as sound ({})", sf_strerror(nullptr)));
    }
    return handle;
}

void requireUsable(const std::filesystem::path& path, const SF_INFO& info) {
    if (info.channels < 1) {
        throw SoundFileError(path, "has no channels");
    }
    if (info.frames < 1) {
        throw SoundFileError(path, "holds no frames");
    }
    if (info.samplerate < lowestRate || info.samplerate > highestRate) {
        throw SoundFileError(path, fmt::format("its rate of {} Hz is outside {} to {} Hz", info.samplerate,
                                               lowestRate, highestRate));
    }
}

ResamplerHandle makeResampler(const std::filesystem::path& path, int rate) {
    if (rate == framesPerSecond) {
        return nullptr;
    }
    const soxr_io_spec_t samples = soxr_io_spec(SOXR_FLOAT32_I, SOXR_FLOAT32_I);
    const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_VHQ, 0);
    const soxr_runtime_spec_t oneThread = soxr_runtime_spec(1);
    soxr_error_t error = nullptr;
    ResamplerHandle resampler(soxr_create(rate, static_cast<double>(framesPerSecond), channelCount, &error,
                                          &samples, &quality, &oneThread));
    if (!resampler || error != nullptr) {
        throw SoundFileError(path, fmt::format("cannot be resampled from {} Hz", rate));
    }
    return resampler;
}

/// Makes every sample finite and every zero positive; returns how many samples were not finite.
std::size_t cleanSamples(std::span<float> samples) {
    std::size_t replaced = 0;
    for (float& sample : samples) {
        if (!std::isfinite(sample)) {
            ++replaced;
            sample = 0.0F;
        } else if (sample == 0.0F) {
            sample = 0.0F;
        }
    }
    return replaced;
}

} // namespace

SoundFileError::SoundFileError(const std::filesystem::path& file, const std::string& reason)
    : std::runtime_error(fmt::format("{}: {}", file.string(), reason)), file_(file), reason_(reason) {}

struct SoundFile::State {
    explicit State(const std::filesystem::path& file);

    void refill();
    std::size_t decodeStereo();
    void resample(const float* input, std::size_t frames);

    std::filesystem::path path;
    SF_INFO info{};
    SoundFileHandle handle;
    ResamplerHandle resampler;
    std::vector<float> decoded;
    std::vector<float> stereo;
    std::vector<float> ready;      // frames at 44100 Hz not read yet start at readyFrom
    std::size_t readyFrom = 0;     // in samples
    FrameNumber decodedFrames = 0; // at the file's own rate
    FrameNumber deliveredFrames = 0;
    std::size_t nonFiniteSamples = 0;
    bool ended = false;
};

SoundFile::State::State(const std::filesystem::path& file) : path(file), handle(openForReading(file, info)) {
    requireUsable(path, info);
    resampler = makeResampler(path, info.samplerate);
    decoded.resize(decodeFrames * static_cast<std::size_t>(info.channels));
    stereo.resize(decodeFrames * channelCount);
}

std::size_t SoundFile::State::decodeStereo() {
    const sf_count_t got =
        sf_readf_float(handle.get(), decoded.data(), static_cast<sf_count_t>(decodeFrames));
    const std::size_t frames = got > 0 ? static_cast<std::size_t>(got) : 0;
    const auto channels = static_cast<std::size_t>(info.channels);
    const std::size_t right = channels > 1 ? 1 : 0;
    for (std::size_t i = 0; i < frames; ++i) {
        stereo[i * channelCount] = decoded[i * channels];
        stereo[i * channelCount + 1] = decoded[i * channels + right];
    }
    decodedFrames += static_cast<FrameNumber>(frames);
    return frames;
}

void SoundFile::State::resample(const float* input, std::size_t frames) {
    // Room for one decoded block at the steepest ratio; what does not fit comes in the next round.
    constexpr std::size_t roomFrames = decodeFrames * 6;
    std::size_t consumed = 0;
    for (;;) {
        const std::size_t before = ready.size();
        ready.resize(before + roomFrames * channelCount);
        std::size_t used = 0;
        std::size_t made = 0;
        const float* rest = input != nullptr ? input + consumed * channelCount : nullptr;
        const soxr_error_t error = soxr_process(resampler.get(), rest, frames - consumed, &used,
                                                ready.data() + before, roomFrames, &made);
        ready.resize(before + made * channelCount);
        if (error != nullptr) {
            throw SoundFileError(path, fmt::format("resampling failed ({})", error));
        }
        consumed += used;
        const bool moreToCome = input != nullptr ? consumed < frames : made > 0;
        if (!moreToCome) {
            return;
        }
    }
}

void SoundFile::State::refill() {
    ready.clear();
    readyFrom = 0;
    while (ready.empty() && !ended) {
        const std::size_t frames = decodeStereo();
        const std::span<float> fresh(stereo.data(), frames * channelCount);
        // Before the resampler, which would smear one bad sample over thousands of good ones.
        nonFiniteSamples += cleanSamples(fresh);
        ended = frames == 0;
        if (resampler) {
            resample(ended ? nullptr : fresh.data(), frames);
        } else {
            ready.assign(fresh.begin(), fresh.end());
        }
    }
    if (resampler) {
        nonFiniteSamples += cleanSamples(ready);
    }
    if (ready.empty() && deliveredFrames == 0) {
        throw SoundFileError(path, "no frame of it can be decoded");
    }
}

SoundFile::SoundFile(const std::filesystem::path& file) : state_(std::make_unique<State>(file)) {}

SoundFile::~SoundFile() = default;

std::size_t SoundFile::read(std::span<float> interleaved) {
    State& state = *state_;
    if (state.readyFrom == state.ready.size()) {
        state.refill();
    }
    const std::size_t samples = std::min(interleaved.size(), state.ready.size() - state.readyFrom);
    std::copy_n(state.ready.data() + state.readyFrom, samples, interleaved.data());
    state.readyFrom += samples;
    state.deliveredFrames += static_cast<FrameNumber>(samples / channelCount);
    return samples / channelCount;
}

FrameNumber SoundFile::announcedFrames() const {
    const double ratio = static_cast<double>(framesPerSecond) / state_->info.samplerate;
    return static_cast<FrameNumber>(std::ceil(static_cast<double>(state_->info.frames) * ratio));
}

std::vector<std::string> SoundFile::notices() const {
    const State& state = *state_;
    std::vector<std::string> sentences;
    const std::string name = state.path.string();
    if (state.info.channels > static_cast<int>(channelCount)) {
        sentences.push_back(
            fmt::format("{}: of its {} channels the first two are used", name, state.info.channels));
    }
    if (state.nonFiniteSamples > 0) {
        sentences.push_back(
            fmt::format("{}: {} samples that are no finite number became 0", name, state.nonFiniteSamples));
    }
    if (state.ended && state.decodedFrames < state.info.frames) {
        sentences.push_back(fmt::format("{}: only {} of its {} frames can be decoded", name,
                                        state.decodedFrames, state.info.frames));
    }
    return sentences;
}

struct RecordingFile::State {
    SF_INFO info{};
    SoundFileHandle handle;
};

RecordingFile::RecordingFile(const std::filesystem::path& file) : state_(std::make_unique<State>()) {
    state_->handle = openForReading(file, state_->info);
    const SF_INFO& info = state_->info;
    const bool isFloat = (info.format & SF_FORMAT_SUBMASK) == SF_FORMAT_FLOAT;
    if (!isFloat || info.channels != static_cast<int>(channelCount) || info.samplerate != framesPerSecond) {
        throw SoundFileError(file, "is no recording of a receiver (32-bit float, stereo, 44100 Hz)");
    }
}

RecordingFile::~RecordingFile() = default;

std::size_t RecordingFile::read(std::span<float> interleaved) {
    const auto frames = static_cast<sf_count_t>(frameCount(interleaved));
    const sf_count_t got = sf_readf_float(state_->handle.get(), interleaved.data(), frames);
    return got > 0 ? static_cast<std::size_t>(got) : 0;
}

} // namespace orbctl
