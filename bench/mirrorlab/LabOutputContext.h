// SPDX-License-Identifier: MIT
#pragma once

#include "ORBRouteService/devices/AVOutputContextProtocol.h"

#include "platform/avfoundation/AVOutputContext.h"
#include "platform/lmn/LMNDeviceManager.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace mirrorlab {

/// An output device of the bench; its virtual device is found, or made, by the receiver's identifier.
class LabOutputDevice final : public orb::AVOutputDeviceProtocol {
  public:
    LabOutputDevice(std::shared_ptr<avfoundation::AVOutputDevice> device, lmn::LMNDeviceManager& manager)
        : device_(std::move(device)), manager_(manager) {}

    std::string name() const override { return device_->name(); }

    std::shared_ptr<lmn::LMNDevice> lmnDevice() override {
        lmn::LMNVirtualDeviceConfig config{.name = device_->name(),
                                           .deviceUID = "com.fernwick.Orbweaver::" + device_->ID()};
        if (auto found = manager_.deviceWithDeviceUID(config.deviceUID, false))
            return found;
        return manager_.deviceFromArchive(manager_.archiveFromConfig(config, false));
    }

  private:
    const std::shared_ptr<avfoundation::AVOutputDevice> device_;
    lmn::LMNDeviceManager& manager_;
};

/// The system's output context as the mirror device sees it.
class LabOutputContext final : public orb::AVOutputContextProtocol {
  public:
    LabOutputContext(avfoundation::AVOutputContext& context, lmn::LMNDeviceManager& manager)
        : context_(context), manager_(manager) {}

    std::vector<std::shared_ptr<orb::AVOutputDeviceProtocol>> outputDevices() override {
        std::vector<std::shared_ptr<orb::AVOutputDeviceProtocol>> devices;
        for (const auto& device : context_.outputDevices())
            devices.push_back(std::make_shared<LabOutputDevice>(device, manager_));
        return devices;
    }

  private:
    avfoundation::AVOutputContext& context_;
    lmn::LMNDeviceManager& manager_;
};

} // namespace mirrorlab
