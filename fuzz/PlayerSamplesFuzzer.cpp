// SPDX-License-Identifier: MIT
// A player's samples, behind two bytes that choose their form: whatever they are, the mix gets finite sound
// within bounds, the same for one piece as for frame after frame.
#include "fuzz/Fuzzing.h"
#include "platform/lmn/embedded/PlayerProtocol.h"

#include <cmath>
#include <vector>

using namespace lmn;

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) {
        return 0;
    }
    const PlayerHello hello{
        .name = "player",
        .sampleType = data[0] % 2 == 0 ? PlayerSampleType::int16 : PlayerSampleType::float32,
        .channels = 1U + data[1] % 32U};
    const PlayerSampleReader reader(hello);
    // Of its own, so that reading beyond the last frame is seen.
    const std::size_t frames = (size - 2) / hello.frameSize();
    std::vector<std::byte> bytes(frames * hello.frameSize());
    std::transform(data + 2, data + 2 + bytes.size(), bytes.begin(),
                   [](auto byte) { return std::byte(byte); });

    std::vector<float> whole(2 * frames);
    std::vector<float> pieces(2 * frames);
    const std::size_t replaced = reader.convert(bytes.data(), frames, whole.data());
    std::size_t replacedInPieces = 0;
    for (std::size_t frame = 0; frame < frames; ++frame) {
        replacedInPieces +=
            reader.convert(bytes.data() + frame * hello.frameSize(), 1, pieces.data() + 2 * frame);
    }
    ORB_CHECK(whole == pieces && replaced == replacedInPieces, "{} and {} replaced", replaced,
              replacedInPieces);
    const auto zeros = static_cast<std::size_t>(std::ranges::count(whole, 0.0F));
    ORB_CHECK(replaced <= zeros, "{} replaced, but {} silent", replaced, zeros);
    for (const float sample : whole) {
        ORB_CHECK(std::fabs(sample) <= loudestSample, "{}", sample);
    }
    return 0;
}
