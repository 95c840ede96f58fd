// SPDX-License-Identifier: MIT
#pragma once

#include "platform/foundation/coding/Data.h"

#include <map>
#include <string>

namespace orb {

/// The service's view of one AirPlay device of the system; what the service knows beyond it is in
/// AVOutputDeviceAccessors.h. One object for a device as long as it stays in its context: the object's
/// identity is the device's. Shared by whoever lists the context's devices. Main queue, or the synchronous
/// hops from it.
class AVOutputDeviceProtocol {
  public:
    using Properties = std::map<std::string, foundation::Data>;

    AVOutputDeviceProtocol() = default;
    virtual ~AVOutputDeviceProtocol() = default;
    AVOutputDeviceProtocol(const AVOutputDeviceProtocol&) = delete;
    AVOutputDeviceProtocol& operator=(const AVOutputDeviceProtocol&) = delete;

    virtual std::string name() const = 0;
    virtual void setName(std::string name) = 0;
    virtual std::string logicalDeviceID() const = 0;
    virtual void setLogicalDeviceID(std::string identifier) = 0;
    virtual std::string identifyingMACAddress() const = 0;
    virtual void setIdentifyingMACAddress(std::string address) = 0;

    /// Those properties that are bytes; empty when there are none.
    virtual Properties airPlayProperties() const = 0;
    virtual void setAirPlayProperties(Properties properties) = 0;
    virtual std::string modelID() const = 0;
    virtual void setModelID(std::string model) = 0;

    /// The device's identifier, much like a MAC address.
    virtual std::string ID() const = 0;
    virtual void setID(std::string identifier) = 0;
    virtual std::string manufacturer() const = 0;
    virtual void setManufacturer(std::string manufacturer) = 0;

    /// 0 to 1.
    virtual float volume() const = 0;
    virtual void setVolume(float volume) = 0;
    virtual bool supportsBufferedAirPlay() const = 0;
    virtual void setSupportsBufferedAirPlay(bool supports) = 0;

    /// For logs.
    virtual std::string description() const = 0;
};

} // namespace orb
