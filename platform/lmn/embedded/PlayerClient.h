// SPDX-License-Identifier: MIT
#pragma once

#include "platform/foundation/FileDescriptor.h"
#include "platform/foundation/RuntimeDirectory.h"
#include "platform/lmn/embedded/PlayerProtocol.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <system_error>

namespace lmn {

/// The device, or the process that served it, is gone.
class PlayerDisconnected final : public std::system_error {
  public:
    using std::system_error::system_error;
};

/// One player's connection to a device, for programs that have no event loop of their own: every call waits
/// until it is done, without a limit of time. Used by one thread at a time.
///
/// The device takes frames at the speed it plays them, so that `write` paces whoever calls it: it returns as
/// soon as everything is on its way, at most the device's two seconds and the socket's buffer ahead of what
/// is heard.
class PlayerClient {
  public:
    /// Connects to the device whose directory is `device` (`LMNDevice::directory`), introduces the player and
    /// waits for the answer. Throws `PlayerProtocolError` with the device's reason when it refuses,
    /// `PlayerDisconnected` when it leaves without an answer, and std::system_error when there is no
    /// connection; the text of the latter says so when nobody serves the device.
    PlayerClient(const foundation::RuntimeDirectory& device, const PlayerHello& hello);

    /// The same for the path of the device's socket, which may be longer than a socket's address.
    PlayerClient(const std::filesystem::path& socket, const PlayerHello& hello);

    /// Closes the connection; what was written plays out.
    ~PlayerClient() = default;
    PlayerClient(PlayerClient&&) = default;
    PlayerClient& operator=(PlayerClient&&) = default;

    /// Sends samples in the order of the hello's channels, full scale ±1. The hello said float32, else
    /// std::invalid_argument is thrown. A frame may be spread over calls. Throws `PlayerDisconnected` when
    /// the device is gone, std::system_error for any other failure.
    void write(std::span<const float> interleaved);

    /// The same for a hello that said int16.
    void write(std::span<const std::int16_t> interleaved);

  private:
    void introduce(const PlayerHello& hello);
    std::string readAnswer();
    void send(std::span<const std::byte> bytes);

    foundation::FileDescriptor socket_;
    PlayerSampleType sampleType_;
    std::string device_; // what messages call it
};

} // namespace lmn
