// SPDX-License-Identifier: MIT
#include "orbctl/job/CoverArt.h"

#include "platform/foundation/TemporaryDirectory.h"

#include <flacfile.h>
#include <gtest/gtest.h>
#include <sndfile.h>

#include <vector>

namespace orbctl {
namespace {

/// A FLAC file with these pictures; a front cover is called so.
std::filesystem::path makeFile(const std::filesystem::path& path, const std::vector<std::string>& pictures) {
    SF_INFO info{};
    info.samplerate = 44100;
    info.channels = 1;
    info.format = SF_FORMAT_FLAC | SF_FORMAT_PCM_16;
    SNDFILE* sound = sf_open(path.c_str(), SFM_WRITE, &info);
    const std::vector<short> silence(4096);
    sf_write_short(sound, silence.data(), static_cast<sf_count_t>(silence.size()));
    sf_close(sound);
    TagLib::FLAC::File file(path.c_str());
    for (const std::string& bytes : pictures) {
        auto* picture = new TagLib::FLAC::Picture; // the file's from here on
        const bool isFront = bytes.ends_with("front");
        picture->setType(isFront ? TagLib::FLAC::Picture::FrontCover : TagLib::FLAC::Picture::Artist);
        picture->setData(TagLib::ByteVector(bytes.data(), static_cast<unsigned>(bytes.size())));
        file.addPicture(picture);
    }
    file.save();
    return path;
}

TEST(CoverArtTest, theFrontCoverIsShownElseTheFirstPictureAndNoneThatIsTooLarge) {
    const foundation::TemporaryDirectory directory;
    const std::string png = "\x89PNG\r\n\x1A\n";
    const std::string huge(largestCoverArt + 1, 'x');
    for (const auto& [pictures, shown] :
         {std::pair(std::vector{png + "other", png + "front"}, png + "front"),
          std::pair(std::vector{png + "one", png + "two"}, png + "one"),
          std::pair(std::vector{huge + "front", png + "small"}, png + "small"),
          std::pair(std::vector<std::string>{}, std::string())}) {
        const auto file = makeFile(directory.path() / "a.flac", pictures);
        EXPECT_EQ(coverArt(file).value_or(foundation::Data()).bytes, shown);
    }
    EXPECT_FALSE(coverArt(directory.path() / "none.mp3"));
}

} // namespace
} // namespace orbctl
