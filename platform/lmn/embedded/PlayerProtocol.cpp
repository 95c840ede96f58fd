// SPDX-License-Identifier: MIT
#include "platform/lmn/embedded/PlayerProtocol.h"

#include "platform/foundation/JsonFile.h"
#include "platform/lmn/AudioServer.h"

#include <fmt/format.h>
#include <boost/json.hpp>

#include <bit>
#include <cmath>
#include <cstring>

namespace lmn {
namespace {

namespace json = boost::json;

static_assert(std::endian::native == std::endian::little, "samples travel in the order of this machine");

constexpr std::uint32_t maximumChannels = 32;
constexpr std::size_t longestQuote = 64; // bytes: the answer is no longer than a line may be

json::object parseLine(std::string_view line) {
    try {
        json::value value = foundation::parseJsonText(line, "hello", {.size = longestHello, .depth = 4});
        return std::move(value.as_object());
    } catch (const std::exception& error) {
        throw PlayerProtocolError(error.what());
    }
}

void checkVersion(const json::object& object) {
    const json::value* version = object.if_contains("version");
    if (version == nullptr || !version->is_int64() || version->get_int64() != playerProtocolVersion)
        throw PlayerProtocolError(fmt::format("\"version\" is not {}", playerProtocolVersion));
}

PlayerSampleType decodeSampleType(std::string_view name) {
    if (name == "float32")
        return PlayerSampleType::float32;
    if (name == "int16")
        return PlayerSampleType::int16;
    const std::string quoted =
        name.size() <= longestQuote ? fmt::format("\"{}\"", name) : fmt::format("of {} bytes", name.size());
    throw PlayerProtocolError(fmt::format("sample type {} is neither \"float32\" nor \"int16\"", quoted));
}

void checkFormat(const PlayerHello& hello) {
    if (hello.sampleRate != ServedDevice::sampleRate)
        throw PlayerProtocolError(fmt::format("the device runs at {:.0f} Hz, not at {}; resample first",
                                              ServedDevice::sampleRate, hello.sampleRate));
    if (hello.channels < 1 || hello.channels > maximumChannels)
        throw PlayerProtocolError(
            fmt::format("{} channels, wanted are 1 to {}", hello.channels, maximumChannels));
}

} // namespace

std::string encodeHello(const PlayerHello& hello) {
    const json::object object{
        {"version", playerProtocolVersion},
        {"name", hello.name},
        {"format",
         {{"sampleType", hello.sampleType == PlayerSampleType::float32 ? "float32" : "int16"},
          {"sampleRate", hello.sampleRate},
          {"channels", hello.channels}}}};
    return json::serialize(object) + "\n";
}

PlayerHello decodeHello(std::string_view line) {
    const json::object object = parseLine(line);
    checkVersion(object);
    PlayerHello hello;
    try {
        const json::object& format = object.at("format").as_object();
        hello.name = object.at("name").as_string();
        hello.sampleType = decodeSampleType(format.at("sampleType").as_string());
        hello.sampleRate = format.at("sampleRate").to_number<double>();
        hello.channels = format.at("channels").to_number<std::uint32_t>();
    } catch (const PlayerProtocolError&) {
        throw;
    } catch (const std::exception&) {
        throw PlayerProtocolError(
            "wanted are \"name\" (string) and \"format\" with \"sampleType\" (string), "
            "\"sampleRate\" and \"channels\" (numbers)");
    }
    checkFormat(hello);
    return hello;
}

std::string encodeAnswer(std::string_view error) {
    json::object object{{"version", playerProtocolVersion}, {"accepted", error.empty()}};
    if (!error.empty())
        object["error"] = error;
    return json::serialize(object) + "\n";
}

void decodeAnswer(std::string_view line) {
    const json::object object = parseLine(line);
    checkVersion(object);
    const json::value* accepted = object.if_contains("accepted");
    if (accepted != nullptr && accepted->is_bool() && accepted->get_bool())
        return;
    const json::value* error = object.if_contains("error");
    throw PlayerProtocolError(error != nullptr && error->is_string() ? std::string(error->get_string())
                                                                     : "refused without a reason");
}

PlayerSampleReader::PlayerSampleReader(const PlayerHello& hello)
    : sampleType_(hello.sampleType),
      frameSize_(hello.frameSize()),
      rightOffset_(hello.channels == 1 ? 0 : hello.frameSize() / hello.channels) {}

std::size_t PlayerSampleReader::convert(const std::byte* bytes, std::size_t frames, float* stereo) const {
    std::size_t replaced = 0;
    for (std::size_t frame = 0; frame < frames; ++frame, bytes += frameSize_)
        for (const std::size_t offset : {std::size_t{0}, rightOffset_}) {
            const float sample = sampleAt(bytes + offset);
            const bool sound = std::fabs(sample) <= loudestSample; // false for what is not a number
            *stereo++ = sound ? sample : 0.0F;
            replaced += sound ? 0 : 1;
        }
    return replaced;
}

float PlayerSampleReader::sampleAt(const std::byte* bytes) const {
    if (sampleType_ == PlayerSampleType::int16) {
        std::int16_t value = 0;
        std::memcpy(&value, bytes, sizeof value);
        return static_cast<float>(value) / 32768.0F;
    }
    float value = 0;
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

} // namespace lmn
