// SPDX-License-Identifier: MIT
#include "platform/airplay/embedded/SoundFileOutput.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <utility>

namespace airplay {
namespace {

constexpr std::array<float, 4096 * channelCount> zeros{};

} // namespace

SoundFileOutput::SoundFileOutput(std::shared_ptr<const ReceiverEntry> entry, Report report,
                                 FrameObserver observer)
    : entry_(std::move(entry)), report_(std::move(report)), observer_(std::move(observer)) {
    if (entry_->file) {
        open();
    }
}

void SoundFileOutput::open() {
    SF_INFO info{};
    info.samplerate = frameRate;
    info.channels = channelCount;
    info.format = SF_FORMAT_RF64 | SF_FORMAT_FLOAT;
    file_.reset(sf_open(entry_->file->c_str(), SFM_WRITE, &info));
    if (!file_) {
        giveUp("open", sf_strerror(nullptr));
        return;
    }
    // A plain WAV unless it has grown too large for one, known when it is closed.
    sf_command(file_.get(), SFC_RF64_AUTO_DOWNGRADE, nullptr, SF_TRUE);
    // The chunk with the peaks holds the time of day: files of the same sound would differ.
    sf_command(file_.get(), SFC_SET_ADD_PEAK_CHUNK, nullptr, SF_FALSE);
}

void SoundFileOutput::play(std::span<const float> frames, FrameIndex first) noexcept {
    if (observer_) {
        observer_(frames, first);
    }
    fillUntil(first);
    write(frames);
}

void SoundFileOutput::finish(FrameIndex end) noexcept {
    fillUntil(end);
    if (file_ && sf_close(file_.release()) != 0) {
        giveUp("finish", "the end could not be written");
    }
}

void SoundFileOutput::fillUntil(FrameIndex end) noexcept {
    while (file_ && stored_ < end) {
        const auto frames = std::min<FrameIndex>(end - stored_, zeros.size() / channelCount);
        write(std::span(zeros).first(static_cast<std::size_t>(frames * channelCount)));
    }
}

void SoundFileOutput::write(std::span<const float> frames) noexcept {
    if (!file_) {
        return;
    }
    const auto count = static_cast<sf_count_t>(frames.size()) / channelCount;
    if (sf_writef_float(file_.get(), frames.data(), count) != count) {
        giveUp("write", sf_strerror(file_.get()));
        return;
    }
    stored_ += count;
    announce();
}

/// Now and then, as it costs two seeks.
void SoundFileOutput::announce() noexcept {
    if (stored_ - announced_ >= frameRate) {
        sf_command(file_.get(), SFC_UPDATE_HEADER_NOW, nullptr, 0);
        announced_ = stored_;
    }
}

/// Once: without a file nothing else can fail.
void SoundFileOutput::giveUp(const char* what, const char* reason) noexcept {
    report_(fmt::format("receiver \"{}\": cannot {} {}: {}; its sound is no longer stored",
                        entry_->description.name, what, entry_->file->string(), reason));
    file_.reset();
}

} // namespace airplay
