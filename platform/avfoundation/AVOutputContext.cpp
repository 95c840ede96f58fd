// SPDX-License-Identifier: MIT
#include "platform/avfoundation/AVOutputContext.h"

#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/uuid_io.hpp>

#include <algorithm>
#include <utility>

namespace avfoundation {
namespace {

std::string newIdentifier() {
    std::string text = boost::uuids::to_string(boost::uuids::random_generator()());
    std::ranges::transform(text, text.begin(), [](char c) {
        return c >= 'a' && c <= 'f' ? static_cast<char>(c - 'a' + 'A') : c;
    });
    return text;
}

} // namespace

AVOutputContext::AVOutputContext(airplay::PlaybackSystem& system, foundation::NotificationCenter& center)
    : contextID_(newIdentifier()),
      route_(system.makeRoute()),
      devicesChanged_(system.realm().mainQueue(),
                      [&center, object = static_cast<const void*>(this)] {
                          center.post(AVOutputContextOutputDevicesDidChangeNotification, object);
                      }),
      subscription_(route_->observeReceivers(
          [this](const airplay::Route::Receivers& receivers) { receiversChanged(receivers); })) {}

AVOutputContext::~AVOutputContext() = default;

std::vector<std::shared_ptr<AVOutputDevice>> AVOutputContext::outputDevices() const {
    const dispatch::LockGuard guard(lock_);
    return devices_;
}

void AVOutputContext::setApplicationProcessID(std::int32_t process) {
    process_.store(process);
    route_->setProcess(process);
}

void AVOutputContext::receiversChanged(const airplay::Route::Receivers& receivers) {
    std::vector<std::shared_ptr<AVOutputDevice>> devices = outputDevices();
    std::erase_if(devices, [&](const auto& device) {
        return std::ranges::find(receivers, device->receiver()) == receivers.end();
    });
    for (std::size_t index = devices.size(); index < receivers.size(); ++index) { // new ones come last
        devices.push_back(std::make_shared<AVOutputDevice>(receivers[index]));
    }
    {
        const dispatch::LockGuard guard(lock_);
        devices_ = std::move(devices);
    }
    devicesChanged_.raise();
}

} // namespace avfoundation
