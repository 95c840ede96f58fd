// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

/// How a player talks to the socket `player.sock` of a device (a Unix stream socket):
///
///     player -> device
///     {"version":1,"name":"...","format":{"sampleType":"float32","sampleRate":44100,"channels":2}}\n device
///     -> player   {"version":1,"accepted":true}\n   or   {"version":1,"accepted":false,"error":"..."}\n,
///     then close player -> device   interleaved samples, little-endian, until the player closes the
///     connection
///
/// "sampleType" is "float32" or "int16"; "channels" 1 to 32, of which one is heard on both sides and more
/// than two give their first two. The device takes what it plays and no faster: a player sends when the
/// socket takes more, and so never runs ahead by more than the device's two seconds and the socket's own
/// buffer. What was sent before the connection is closed is played to its end. Samples that are not numbers,
/// or louder than `loudestSample`, are silence.
namespace lmn {

inline constexpr int playerProtocolVersion = 1;
inline constexpr std::size_t longestHello = 4096; // bytes, line feed included
inline constexpr float loudestSample = 8.0F;      // +18 dB of full scale
inline constexpr std::string_view playerSocketName = "player.sock";

enum class PlayerSampleType { float32, int16 };

/// What a player says of itself.
struct PlayerHello {
    std::string name;
    PlayerSampleType sampleType = PlayerSampleType::float32;
    double sampleRate = 44100;
    std::uint32_t channels = 2;

    std::size_t frameSize() const {
        return channels * (sampleType == PlayerSampleType::float32 ? sizeof(float) : sizeof(std::int16_t));
    }
};

/// A hello or an answer that cannot be accepted; `what()` says why, for the other side to read.
class PlayerProtocolError final : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// One line, line feed included.
std::string encodeHello(const PlayerHello& hello);

/// `line` is without its line feed. Throws `PlayerProtocolError`.
PlayerHello decodeHello(std::string_view line);

/// `error` empty: accepted.
std::string encodeAnswer(std::string_view error);

/// Throws `PlayerProtocolError` with the device's reason when the device refused.
void decodeAnswer(std::string_view line);

/// Turns what a player sent into clean stereo frames.
class PlayerSampleReader {
  public:
    explicit PlayerSampleReader(const PlayerHello& hello);

    /// Converts `frames` frames at `bytes` into `stereo`. Returns the number of samples replaced by silence.
    std::size_t convert(const std::byte* bytes, std::size_t frames, float* stereo) const;

  private:
    float sampleAt(const std::byte* bytes) const;

    PlayerSampleType sampleType_;
    std::size_t frameSize_;
    std::size_t rightOffset_; // of the second channel's sample within a frame, bytes
};

} // namespace lmn
