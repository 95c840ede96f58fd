// SPDX-License-Identifier: MIT
#pragma once

#include "platform/airplay/embedded/EmbeddedReceiver.h"
#include "platform/avfoundation/AVOutputContextClass.h"
#include "platform/foundation/SharedInstance.h"
#include "tests/ORBRouteService/devices/DevicesFixture.h"

#include <map>
#include <memory>
#include <optional>
#include <string>

namespace orb {

/// The system's side of the bridges in virtual time; its device manager is the shared one.
class OutputsFixture : public DevicesFixture {
  protected:
    using Txt = std::map<std::string, std::string>;

    ~OutputsFixture() override {
        onMain([&] { contexts.reset(); });
    }

    void onMain(dispatch::FunctionRef<void()> action) {
        realm.mainQueue().sync(action);
        realm.settle();
    }

    std::shared_ptr<airplay::EmbeddedReceiver> receiver(const std::string& name, const std::string& ID,
                                                        const Txt& txt = {}) {
        airplay::ReceiverEntry entry;
        entry.description.name = name;
        entry.description.identifier = ID;
        entry.description.txt = txt;
        return std::make_shared<airplay::EmbeddedReceiver>(
            std::move(entry), airplay::EmbeddedReceiver::Surroundings{.mainQueue = realm.mainQueue(),
                                                                      .report = playback.report()});
    }

    const foundation::SharedInstance<lmn::LMNDeviceManager> shared{manager};
    foundation::NotificationCenter notifications;
    airplay::PlaybackSystem playback{realm, [](const std::string&) {}};
    std::optional<avfoundation::AVOutputContextClass> contexts{
        std::in_place, avfoundation::AVOutputContextClassParts{playback, notifications, nullptr, manager}};
};

} // namespace orb
