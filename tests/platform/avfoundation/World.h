// SPDX-License-Identifier: MIT
#pragma once

#include "platform/avfoundation/AVOutputContext.h"
#include "platform/avfoundation/AVSampleBufferAudioRenderer.h"
#include "platform/avfoundation/AVSampleBufferRenderSynchronizer.h"
#include "platform/dispatch/virtual/VirtualRealm.h"
#include "tests/platform/airplay/Recordings.h"
#include "tests/platform/avfoundation/Buffers.h"

#include <optional>
#include <string>
#include <vector>

namespace avfoundation {

/// A process that plays, with all of the system below it, in virtual time.
struct World {
    static constexpr std::int32_t process = 4711;

    ~World() {
        onMain([&] { context.reset(); });
    }

    void onMain(dispatch::FunctionRef<void()> action) {
        realm.mainQueue().sync(action);
        realm.settle();
    }

    std::shared_ptr<airplay::EmbeddedReceiver> makeReceiver(const std::string& name,
                                                            airplay::Recording& heard) {
        airplay::ReceiverEntry entry;
        entry.description.name = name;
        entry.description.identifier = name;
        entry.description.txt = {{"deviceid", name}, {"features", "0x445F8A00,0x1C340"}, {"gid", "G"}};
        return makeReceiver(std::move(entry), heard.observer());
    }

    std::shared_ptr<airplay::EmbeddedReceiver> makeReceiver(airplay::ReceiverEntry entry,
                                                            airplay::FrameObserver observer = {}) {
        return std::make_shared<airplay::EmbeddedReceiver>(
            std::move(entry),
            airplay::EmbeddedReceiver::Surroundings{
                .mainQueue = realm.mainQueue(), .report = system.report(), .observer = std::move(observer)});
    }

    /// Ties the context to the process and connects a receiver.
    void listen() {
        onMain([&] {
            context->setApplicationProcessID(process);
            context->route().connect(makeReceiver("A", recording));
        });
    }

    dispatch::VirtualRealm realm;
    foundation::NotificationCenter center;
    std::vector<std::string> reports;
    airplay::PlaybackSystem system{realm, [this](const std::string& line) { reports.push_back(line); }};
    airplay::Recording recording;
    std::unique_ptr<AVOutputContext> context = std::make_unique<AVOutputContext>(system, center);
    AVSampleBufferRenderSynchronizer synchronizer{realm, center};
    std::vector<EnqueuedBuffer> enqueued;
    std::optional<AVSampleBufferAudioRenderer> renderer{
        std::in_place, system, process, [this](const EnqueuedBuffer& buffer) { enqueued.push_back(buffer); }};
};

} // namespace avfoundation
