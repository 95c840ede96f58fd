// SPDX-License-Identifier: MIT
// The lines that a player and a device exchange: a hello that is accepted can be played, one that is not is
// refused with a reason that reaches the player word for word.
#include "fuzz/Fuzzing.h"
#include "platform/lmn/embedded/PlayerProtocol.h"

#include <string>
#include <tuple>

namespace {

using namespace lmn;

auto fieldsOf(const PlayerHello& hello) {
    const auto& [name, sampleType, sampleRate, channels] = hello;
    return std::tie(name, sampleType, sampleRate, channels);
}

/// A line without its line feed, which stands nowhere else in it.
std::string_view contentOf(std::string_view line) {
    ORB_CHECK(line.find('\n') + 1 == line.size(), "{}", line);
    return line.substr(0, line.size() - 1);
}

std::string refusalIn(std::string_view answer) {
    try {
        decodeAnswer(answer);
    } catch (const PlayerProtocolError& error) {
        return error.what();
    }
    return {};
}

void judgeRefusal(std::string_view reason) {
    const std::string answer = encodeAnswer(reason);
    ORB_CHECK(!reason.empty() && answer.size() <= longestHello, "{} bytes of answer", answer.size());
    ORB_CHECK(refusalIn(contentOf(answer)) == reason, "{}", answer);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view line = fuzz::textOf(data, size);
    if (size >= longestHello) {
        return 0; // no session takes in more
    }
    refusalIn(line);
    const auto hello = fuzz::parsed<PlayerProtocolError>(
        [&] { return decodeHello(line); },
        [](const PlayerProtocolError& error) { judgeRefusal(error.what()); });
    if (hello) {
        ORB_CHECK(hello->channels >= 1 && hello->channels <= 32, "{} channels", hello->channels);
        const std::string again = encodeHello(*hello);
        ORB_CHECK(fieldsOf(decodeHello(contentOf(again))) == fieldsOf(*hello), "{}", again);
    }
    return 0;
}
