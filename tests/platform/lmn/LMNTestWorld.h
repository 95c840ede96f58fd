// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dispatch/real/RealRealm.h"
#include "platform/dispatch/virtual/VirtualRealm.h"
#include "platform/foundation/TemporaryDirectory.h"
#include "platform/lmn/LMNSystem.h"
#include "platform/lmn/LMNTap.h"
#include "platform/lmn/embedded/PlayerRoster.h"
#include "tests/support/runUntil.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace lmn {

/// Serves one device with a roster whose places a test fills by itself, without sockets.
class RosterServer final : public AudioServer {
  public:
    explicit RosterServer(std::shared_ptr<PlayerRoster> roster) : roster_(std::move(roster)) {}
    std::shared_ptr<ServedDevice> serve(const std::shared_ptr<LMNDevice>&) override { return roster_; }

  private:
    const std::shared_ptr<PlayerRoster> roster_;
};

/// A player in a roster, without a socket.
class DirectPlayer {
  public:
    DirectPlayer(PlayerRoster& roster, dispatch::Queue& serverQueue, LMNProcess process)
        : roster_(roster), serverQueue_(serverQueue) {
        serverQueue_.sync([&] { voice_ = roster_.join(std::move(process), [] {}); });
    }

    void send(std::span<const float> interleaved) {
        serverQueue_.sync([&] {
            ASSERT_EQ(voice_->fifo().write(interleaved), interleaved.size() / ServedDevice::channelCount);
            roster_.framesArrived(*voice_);
        });
    }

    void leave() {
        serverQueue_.sync([&] {
            voice_->end();
            roster_.forget(*voice_);
            roster_.framesArrived(*voice_);
        });
    }

    PlayerVoice* voice() const { return voice_; }

  private:
    PlayerRoster& roster_;
    dispatch::Queue& serverQueue_;
    PlayerVoice* voice_ = nullptr;
};

/// A tap and all that it hears. On the IO queue while that runs.
class Listener {
  public:
    Listener(LMNSystem& system, LMNTapConfig config)
        : tap_(std::make_unique<LMNTap>(system, std::move(config), nullptr)) {
        tap_->setDelegate(record_);
    }

    LMNTap& tap() { return *tap_; }
    std::size_t periods() const { return record_->periods; }
    int starts() const { return record_->starts; }
    /// All periods' samples in a row.
    const std::vector<float>& heard() const { return record_->samples; }

  private:
    struct Record final : LMNTapDelegate, std::enable_shared_from_this<Record> {
        std::shared_ptr<LMNTapIOContext> createIOContext(LMNTap& tap, const LMNTapConfig& config) override;

        std::size_t periods = 0;
        std::vector<float> samples;
        int starts = 0;
        int stops = 0;
    };

    class Context final : public LMNTapIOContext {
      public:
        Context(LMNTap& tap, const LMNTapConfig& config, std::shared_ptr<Record> record)
            : LMNTapIOContext(tap, config, nullptr, {}), record_(std::move(record)) {}

        void willStartIO() override { EXPECT_EQ(record_->starts++, record_->stops); }
        void didStopIO() override { EXPECT_EQ(++record_->stops, record_->starts); }
        void processIO(LMNBuffer& buffer) override {
            EXPECT_EQ(record_->starts, record_->stops + 1);
            const std::size_t count = std::size_t{buffer.frameCount()} * buffer.channelCount();
            record_->samples.insert(record_->samples.end(), buffer.samples(), buffer.samples() + count);
            ++record_->periods;
        }

      private:
        const std::shared_ptr<Record> record_;
    };

    std::shared_ptr<Record> record_ = std::make_shared<Record>();
    std::unique_ptr<LMNTap> tap_;
};

inline std::shared_ptr<LMNTapIOContext> Listener::Record::createIOContext(LMNTap& tap,
                                                                          const LMNTapConfig& config) {
    return std::make_shared<Context>(tap, config, shared_from_this());
}

inline constexpr std::uint32_t periodFrames = 512;
inline constexpr double rate = ServedDevice::sampleRate;

/// When period `number` after the one due at `origin` is due.
inline dispatch::HostTime dueAfter(dispatch::HostTime origin, std::int64_t number) {
    return origin + dispatch::Nanoseconds{number * periodFrames * 1'000'000'000 / 44100};
}

/// When the first period is due of a pacer that something joins `now`.
inline dispatch::HostTime firstDue(dispatch::HostTime now) { return dueAfter(now, 1); }

/// Listens to everything that is played into the device.
inline LMNTapConfig tapOn(const LMNDevice& device, double leadout = 1) {
    LMNSource source;
    source.deviceReference.attributes = {{std::string(LMNDeviceUIDKey), device.deviceUID()}};
    source.exclusive = true;
    source.channelMappings = {{1, 1}, {2, 2}};
    return {.sources = {source},
            .leadout = leadout,
            .channelCount = 2,
            .frameCount = periodFrames,
            .sampleRate = rate};
}

/// Stereo frames that tell their own number, exact in 16 bits too: left upwards from `first`, right downwards
/// from it, both in steps of 1/32768.
inline std::vector<float> countingFrames(std::size_t frames, int first = 1) {
    std::vector<float> samples;
    for (std::size_t frame = 0; frame < frames; ++frame) {
        const auto number = static_cast<float>((static_cast<std::size_t>(first) + frame) % 30000);
        samples.push_back(number / 32768.0F);
        samples.push_back(-number / 32768.0F);
    }
    return samples;
}

/// A device in a temporary directory, and the framework around it.
class DeviceWorld {
  public:
    explicit DeviceWorld(dispatch::Realm& realm)
        : runtime(root.path()), manager(runtime, realm.mainQueue()), device(makeDevice("mirror")) {}

    std::shared_ptr<LMNDevice> makeDevice(const std::string& uid) {
        return manager.deviceFromArchive(
            manager.archiveFromConfig({.name = "Mirror", .deviceUID = uid}, false));
    }

    const foundation::TemporaryDirectory root;
    const foundation::RuntimeDirectory runtime;
    LMNDeviceManager manager;
    const std::shared_ptr<LMNDevice> device;
};

/// The same with players that need no sockets.
class RosterWorld : public DeviceWorld {
  public:
    explicit RosterWorld(dispatch::Realm& realm)
        : DeviceWorld(realm),
          serverQueue(realm.makeQueue("server")),
          roster(std::make_shared<PlayerRoster>(device, *serverQueue)),
          server(roster),
          system(realm, manager, server) {}

    DirectPlayer join(std::int32_t pid, std::string deviceUID = "") {
        return {*roster, *serverQueue, {.pid = pid, .name = "player", .deviceUID = std::move(deviceUID)}};
    }

    const std::unique_ptr<dispatch::Queue> serverQueue;
    const std::shared_ptr<PlayerRoster> roster;
    RosterServer server;
    LMNSystem system;
};

using support::runUntil;

} // namespace lmn
