// SPDX-License-Identifier: MIT
#pragma once

#include "ORBRouteService/devices/AVOutputDeviceProtocol.h"

#include "platform/avfoundation/AVOutputDevice.h"

#include <memory>
#include <utility>

namespace orb {

/// A device of the system, handed on as it is. Made by the bridge of its context, shared with those who list
/// the devices there. Any thread.
class AVOutputDeviceBridge final : public AVOutputDeviceProtocol {
  public:
    using Device = std::shared_ptr<avfoundation::AVOutputDevice>;

    explicit AVOutputDeviceBridge(Device device) : device_(std::move(device)) {}

    const Device& device() const { return device_; }

    std::string name() const override { return device_->name(); }
    void setName(std::string name) override { device_->setName(std::move(name)); }
    std::string logicalDeviceID() const override { return device_->logicalDeviceID(); }
    void setLogicalDeviceID(std::string identifier) override {
        device_->setLogicalDeviceID(std::move(identifier));
    }
    std::string identifyingMACAddress() const override { return device_->identifyingMACAddress(); }
    void setIdentifyingMACAddress(std::string address) override {
        device_->setIdentifyingMACAddress(std::move(address));
    }
    Properties airPlayProperties() const override { return device_->airPlayProperties(); }
    void setAirPlayProperties(Properties properties) override {
        device_->setAirPlayProperties(std::move(properties));
    }
    std::string modelID() const override { return device_->modelID(); }
    void setModelID(std::string model) override { device_->setModelID(std::move(model)); }
    std::string ID() const override { return device_->ID(); }
    void setID(std::string identifier) override { device_->setID(std::move(identifier)); }
    std::string manufacturer() const override { return device_->manufacturer(); }
    void setManufacturer(std::string manufacturer) override {
        device_->setManufacturer(std::move(manufacturer));
    }
    float volume() const override { return device_->volume(); }
    void setVolume(float volume) override { device_->setVolume(volume); }
    bool supportsBufferedAirPlay() const override { return device_->supportsBufferedAirPlay(); }
    void setSupportsBufferedAirPlay(bool supports) override { device_->setSupportsBufferedAirPlay(supports); }
    std::string description() const override { return device_->description(); }

  private:
    const Device device_;
};

} // namespace orb
