// SPDX-License-Identifier: MIT
#pragma once

#include "ORBRouteService/devices/LMNDeviceAccessors.h"

#include "platform/airplay/embedded/ReceiverEntry.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lmn {
class LMNDevice;
class LMNDeviceManager;
} // namespace lmn

namespace orbctl {

/// One receiver of a target. A value.
struct Room {
    std::string name;
    std::optional<std::filesystem::path> recording = {}; // where it stores what it plays
};

/// What can be played to: a receiver, or a group of them that are connected together. A value.
struct Target {
    std::string name;                      // as the route picker shows it
    std::vector<Room> rooms;               // the leader first
    std::string identifier;                // of the leader
    orb::TxtRecord txt;                    // of the leader
    std::optional<std::string> group = {}; // its TXT "gid"
    double knob = 1;                       // volume of the leader when nothing plays, 0 to 1
    std::optional<airplay::SecretKind> asksFor = {};

    /// UID of the virtual device that stands for it.
    std::string deviceUID() const;

    /// That device, made if need be, with the overrides by which the service knows the target.
    std::shared_ptr<lmn::LMNDevice> makeDevice(lmn::LMNDeviceManager& manager) const;

    /// That device, if it was ever made.
    std::shared_ptr<lmn::LMNDevice> findDevice(lmn::LMNDeviceManager& manager) const;
};

/// What is in sight, as a receivers file has it. A value.
class ReceiverList {
  public:
    /// Throws airplay::ReceiversFileError.
    explicit ReceiverList(const std::filesystem::path& file);

    const std::filesystem::path& file() const { return file_; }
    const std::vector<Target>& targets() const { return targets_; }

    /// By the name in the picker, or by name or identifier of a receiver in it. Throws UsageError, which
    /// says what names there are.
    const Target& find(std::string_view name) const;

  private:
    std::filesystem::path file_; // absolute
    std::vector<Target> targets_;
};

} // namespace orbctl
