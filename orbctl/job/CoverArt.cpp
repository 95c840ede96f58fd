// SPDX-License-Identifier: MIT
#include "orbctl/job/CoverArt.h"

#include <attachedpictureframe.h>
#include <fileref.h>
#include <flacfile.h>
#include <id3v2tag.h>
#include <mpegfile.h>
#include <vorbisfile.h>

namespace orbctl {
namespace {

using TagLib::ID3v2::AttachedPictureFrame;

/// Keeps the front cover, or what comes first.
class Choice {
  public:
    void offer(const TagLib::ByteVector& picture, bool isFrontCover) {
        const bool canBeShown = !picture.isEmpty() && picture.size() <= largestCoverArt;
        if (canBeShown && (!chosen_ || (isFrontCover && !hasFrontCover_))) {
            chosen_ = foundation::Data{std::string(picture.data(), picture.size())};
            hasFrontCover_ = isFrontCover;
        }
    }

    void offer(const TagLib::List<TagLib::FLAC::Picture*>& pictures) {
        for (const TagLib::FLAC::Picture* picture : pictures) {
            offer(picture->data(), picture->type() == TagLib::FLAC::Picture::FrontCover);
        }
    }

    void offer(const TagLib::ID3v2::Tag* tag) {
        if (tag == nullptr) {
            return;
        }
        for (const TagLib::ID3v2::Frame* frame : tag->frameList("APIC")) {
            if (const auto* picture = dynamic_cast<const AttachedPictureFrame*>(frame)) {
                offer(picture->picture(), picture->type() == AttachedPictureFrame::FrontCover);
            }
        }
    }

    std::optional<foundation::Data> take() { return std::move(chosen_); }

  private:
    std::optional<foundation::Data> chosen_;
    bool hasFrontCover_ = false;
};

} // namespace

std::optional<foundation::Data> coverArt(const std::filesystem::path& file) {
    const TagLib::FileRef reference(file.c_str(), false);
    Choice choice;
    if (auto* flac = dynamic_cast<TagLib::FLAC::File*>(reference.file())) {
        choice.offer(flac->pictureList());
    } else if (auto* mpeg = dynamic_cast<TagLib::MPEG::File*>(reference.file())) {
        choice.offer(mpeg->ID3v2Tag());
    } else if (const auto* vorbis = dynamic_cast<TagLib::Ogg::Vorbis::File*>(reference.file());
               vorbis != nullptr && vorbis->tag() != nullptr) {
        choice.offer(vorbis->tag()->pictureList());
    }
    return choice.take();
}

} // namespace orbctl
