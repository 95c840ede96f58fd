// SPDX-License-Identifier: MIT
#include "platform/lmn/LMNTap.h"

#include "platform/lmn/LMNLog.h"
#include "platform/lmn/LMNSystem.h"

#include <fmt/format.h>

#include <atomic>
#include <cmath>
#include <utility>

namespace lmn {

/// The tap's side on the IO queue.
class LMNTap::IO final : public PacedIO, public std::enable_shared_from_this<IO> {
  public:
    IO(LMNSystem& system, const LMNTapConfig& config, std::shared_ptr<LMNTapIOContext> context)
        : system_(system),
          config_(config),
          context_(std::move(context)),
          buffer_(config.channelCount, config.frameCount, config.sampleRate),
          leadoutFrames_(std::llround(config.leadout * config.sampleRate)) {}

    /// From the main queue: the device to listen to; nullptr for none.
    void listenTo(std::shared_ptr<ServedDevice> device) {
        if (device)
            soundBegins_ = device->observeSoundBegins([weak = weak_from_this(), &queue = system_.ioQueue()] {
                queue.async([weak] {
                    if (const auto self = weak.lock())
                        self->beginIfThereIsSound();
                });
            });
        else
            soundBegins_.cancel();
        system_.ioQueue().async(
            [self = shared_from_this(), device = std::move(device)] { self->setDevice(device); });
    }

    bool perform(std::uint64_t period, dispatch::HostTime) override {
        if (!running_)
            return false;
        device_->advance(period, config_.frameCount);
        buffer_.mute();
        const bool sounding = device_->mix(config_.sources.front(), buffer_);
        quietFrames_ = sounding ? 0 : quietFrames_ + config_.frameCount;
        if (quietFrames_ > leadoutFrames_) {
            end();
            return false;
        }
        context_->processIO(buffer_);
        return true;
    }

  private:
    void setDevice(const std::shared_ptr<ServedDevice>& device) {
        if (device_ != device) {
            if (running_)
                end();
            device_ = device;
        }
        beginIfThereIsSound();
    }

    void beginIfThereIsSound() {
        if (running_ || !device_ || !device_->hasSound(config_.sources.front()))
            return;
        running_ = true;
        quietFrames_ = 0;
        context_->willStartIO();
        system_.pacer(config_.frameCount, config_.sampleRate)
            .add(LMNPacer::Stage::capture, shared_from_this());
    }

    void end() {
        running_ = false;
        context_->didStopIO();
    }

    LMNSystem& system_;
    const LMNTapConfig config_;
    const std::shared_ptr<LMNTapIOContext> context_;
    foundation::Subscription soundBegins_; // of the main queue; all below of the IO queue
    std::shared_ptr<ServedDevice> device_;
    LMNBuffer buffer_;
    const std::int64_t leadoutFrames_;
    std::int64_t quietFrames_ = 0;
    bool running_ = false;
};

LMNTap::LMNTap(LMNSystem& system, LMNTapConfig config, std::shared_ptr<LMNDispatchQueue> queue)
    : system_(system), config_(std::move(config)), queue_(std::move(queue)) {}

LMNTap::~LMNTap() { stop(); }

void LMNTap::start() {
    if (!io_)
        if (const auto delegate = delegate_.lock())
            if (auto context = delegate->createIOContext(*this, config_))
                io_ = std::make_shared<IO>(system_, config_, std::move(context));
    const std::string uid =
        config_.sources.empty() ? "" : config_.sources.front().deviceReference.deviceUID();
    const auto device = system_.deviceManager().deviceWithDeviceUID(uid, false);
    if (!io_ || !device) {
        LMNLog(4, fmt::format("LMNTap: cannot start on device \"{}\": {}\n", uid,
                              io_ ? "there is no such device" : "there is no IO context"));
        return;
    }
    try {
        io_->listenTo(system_.audioServer().serve(device));
    } catch (const AudioServerError& error) {
        LMNLog(4, fmt::format("LMNTap: {}\n", error.what()));
    }
}

void LMNTap::stop() {
    if (io_)
        io_->listenTo(nullptr);
}

} // namespace lmn
