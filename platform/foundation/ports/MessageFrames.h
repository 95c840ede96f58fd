// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

namespace foundation {

/// Longest data of one message, in bytes.
inline constexpr std::size_t maximumMessage = 16 * 1024 * 1024;

/// What a sender writes first on a connection; the digit is the version of the format.
inline constexpr std::string_view messagePreface = "ORBPORT1";

/// Bytes before the data of a message: length (unsigned), then message id (signed), 32 bits little-endian
/// each.
inline constexpr std::size_t messageHeaderSize = 8;

/// The header of a message whose data has `length` bytes, of which there are at most `maximumMessage`.
std::string messageHeader(std::int32_t messageID, std::size_t length);

/// A connection that does not keep to the format; nothing that follows on it can be understood. `what()` says
/// what was wrong.
class FramingError final : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Cuts what one sender writes into messages, whatever pieces it arrives in: the preface, then any number of
/// header and data. Knows nothing of sockets. Takes memory only for bytes that have arrived, never for what a
/// header announces. Owned by the connection; one thread.
class MessageFrames {
  public:
    using Handler = std::function<void(std::int32_t messageID, std::string data)>;

    /// `handler` is called from `feed` with each message, in order; it neither throws nor destroys this.
    explicit MessageFrames(Handler handler);

    /// Takes the next bytes. Throws FramingError at a wrong preface, as soon as a byte of it differs, and at
    /// a header with more than `maximumMessage`, after the messages before it were handed over; from then on
    /// at every call.
    void feed(std::span<const std::byte> bytes);

    /// Whether the connection may end here: nothing has come yet, or the last message is whole.
    bool isBetweenFrames() const;

  private:
    enum class Part { preface, header, data, refused };

    std::size_t sizeOfPart() const;
    std::string_view collect(std::string_view bytes);
    void checkPreface();
    void readHeader();
    void handOver();
    [[noreturn]] void refuse(std::string reason);

    const Handler handler_;
    Part part_ = Part::preface;
    std::string collected_; // of the part under way
    std::int32_t messageID_ = 0;
    std::size_t length_ = 0; // of the data
    std::string reason_;     // of the refusal
};

} // namespace foundation
