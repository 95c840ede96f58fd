// SPDX-License-Identifier: MIT
// A connection to a port, behind four bytes that choose where the stream is cut: the pieces give the same
// messages and the same end as the whole, and the messages, framed again, are the stream.
#include "fuzz/Fuzzing.h"
#include "platform/foundation/ports/MessageFrames.h"

#include <span>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace foundation;

constexpr std::size_t cutBytes = 4;

struct Heard {
    std::vector<std::pair<std::int32_t, std::string>> messages;
    std::string fault;
    bool isBetweenFrames = false;

    bool operator==(const Heard&) const = default;
};

/// `pieceSize(n)` is the size of the n-th piece, at least 1.
template <typename PieceSize>
Heard hear(std::span<const std::byte> stream, PieceSize pieceSize) {
    Heard heard;
    MessageFrames frames(
        [&](std::int32_t id, std::string data) { heard.messages.emplace_back(id, std::move(data)); });
    const auto feedAll = [&] {
        for (std::size_t piece = 0; !stream.empty(); ++piece) {
            const std::size_t size = std::min(pieceSize(piece), stream.size());
            frames.feed(stream.first(size));
            stream = stream.subspan(size);
        }
        return true;
    };
    fuzz::parsed<FramingError>(feedAll, [&](const FramingError& error) { heard.fault = error.what(); });
    heard.isBetweenFrames = frames.isBetweenFrames();
    return heard;
}

void requireFramedAlike(const Heard& heard, std::string_view stream) {
    std::string again(stream.empty() ? "" : messagePreface);
    for (const auto& [id, data] : heard.messages) {
        again += messageHeader(id, data.size()) + data;
    }
    if (heard.messages.empty() && !heard.isBetweenFrames) {
        return; // perhaps not even the preface came
    }
    ORB_CHECK(stream.starts_with(again), "framed again, {} messages differ", heard.messages.size());
    ORB_CHECK(!heard.isBetweenFrames || again.size() == stream.size(), "{} bytes are left over",
              stream.size() - again.size());
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < cutBytes) {
        return 0;
    }
    const std::span stream = std::as_bytes(std::span(data, size).subspan(cutBytes));
    const Heard whole = hear(stream, [&](std::size_t) { return stream.size(); });
    const Heard cut =
        hear(stream, [&](std::size_t piece) { return data[piece % cutBytes] + std::size_t{1}; });
    ORB_CHECK(cut == whole, "{} messages in pieces, {} at once: {} {}", cut.messages.size(),
              whole.messages.size(), cut.fault, whole.fault);
    requireFramedAlike(whole, fuzz::textOf(data + cutBytes, size - cutBytes));
    return 0;
}
