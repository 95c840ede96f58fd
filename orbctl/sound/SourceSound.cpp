// SPDX-License-Identifier: MIT
#include "orbctl/sound/SourceSound.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace orbctl {

namespace {

// Beyond any run, and far below where frame numbers overflow.
constexpr double longestSeconds = 1.0e9;

void requireSensible(const SourceSoundOptions& options) {
    if (options.files.empty()) {
        throw std::invalid_argument("a source sound needs at least one file");
    }
    if (options.lengthFrames && *options.lengthFrames < 0) {
        throw std::invalid_argument("the length of a source sound cannot be negative");
    }
    // Written so that NaN is refused as well.
    if (options.atLeastSeconds &&
        !(*options.atLeastSeconds >= 0.0 && *options.atLeastSeconds <= longestSeconds)) {
        throw std::invalid_argument("the least duration of a source sound must lie in 0 to 1e9 seconds");
    }
}

FrameNumber leastFrames(const SourceSoundOptions& options) {
    const double seconds = options.atLeastSeconds.value_or(0.0);
    return static_cast<FrameNumber>(std::ceil(seconds * static_cast<double>(framesPerSecond)));
}

} // namespace

std::unique_ptr<SourceSound> SourceSound::open(SourceSoundOptions options) {
    requireSensible(options);
    return std::unique_ptr<SourceSound>(new SourceSound(std::move(options)));
}

SourceSound::SourceSound(SourceSoundOptions options) : options_(std::move(options)) {
    FrameNumber announced = 0;
    for (const auto& file : options_.files) {
        announced += SoundFile(file).announcedFrames();
    }
    const bool repeats = options_.lengthFrames.has_value() || options_.atLeastSeconds.has_value();
    caching_ = repeats && announced <= options_.cacheLimitFrames;
}

std::optional<FrameNumber> SourceSound::totalFrames() const {
    if (options_.lengthFrames) {
        return options_.lengthFrames;
    }
    if (!passFrames_) {
        return std::nullopt;
    }
    const FrameNumber passes = (leastFrames(options_) + *passFrames_ - 1) / *passFrames_;
    return *passFrames_ * std::max<FrameNumber>(passes, 1);
}

std::vector<std::string> SourceSound::notices() const {
    std::vector<std::string> sentences = notices_;
    if (current_) {
        // A file heard again, in this pass or the next, has nothing new to say.
        for (auto& sentence : current_->notices()) {
            if (std::find(sentences.begin(), sentences.end(), sentence) == sentences.end()) {
                sentences.push_back(std::move(sentence));
            }
        }
    }
    return sentences;
}

std::size_t SourceSound::read(std::span<float> interleaved) {
    std::size_t done = 0;
    while (done < frameCount(interleaved)) {
        std::size_t wanted = frameCount(interleaved) - done;
        if (const auto total = totalFrames()) {
            wanted = std::min(wanted, static_cast<std::size_t>(*total - delivered_));
        }
        if (wanted == 0) {
            break;
        }
        const std::size_t got = readPass(interleaved.subspan(done * channelCount, wanted * channelCount));
        if (got == 0) {
            endPass();
        }
        done += got;
        delivered_ += static_cast<FrameNumber>(got);
    }
    return done;
}

std::size_t SourceSound::readPass(std::span<float> interleaved) {
    const bool fromCache = caching_ && passFrames_.has_value();
    const std::size_t got = fromCache ? readCache(interleaved) : readFiles(interleaved);
    if (!passFrames_) {
        keepForRepetition(interleaved.first(got * channelCount));
    }
    framesInPass_ += static_cast<FrameNumber>(got);
    return got;
}

std::size_t SourceSound::readFiles(std::span<float> interleaved) {
    for (;;) {
        if (!current_) {
            if (nextFile_ == options_.files.size()) {
                return 0;
            }
            current_ = std::make_unique<SoundFile>(options_.files[nextFile_++]);
        }
        const std::size_t got = current_->read(interleaved);
        if (got > 0) {
            return got;
        }
        notices_ = notices();
        current_.reset();
    }
}

std::size_t SourceSound::readCache(std::span<float> interleaved) {
    const std::size_t samples = std::min(interleaved.size(), cache_.size() - cachePosition_);
    std::copy_n(cache_.data() + cachePosition_, samples, interleaved.data());
    cachePosition_ += samples;
    return samples / channelCount;
}

void SourceSound::keepForRepetition(std::span<const float> interleaved) {
    if (!caching_) {
        return;
    }
    const std::size_t limit = static_cast<std::size_t>(options_.cacheLimitFrames) * channelCount;
    if (cache_.size() + interleaved.size() > limit) {
        // The headers promised less than the files hold.
        caching_ = false;
        cache_ = {};
        return;
    }
    cache_.insert(cache_.end(), interleaved.begin(), interleaved.end());
}

void SourceSound::endPass() {
    // A file without a frame throws, so a pass is never empty and the stream always moves on.
    if (!passFrames_) {
        passFrames_ = framesInPass_;
    }
    framesInPass_ = 0;
    cachePosition_ = 0;
    nextFile_ = 0;
}

} // namespace orbctl
