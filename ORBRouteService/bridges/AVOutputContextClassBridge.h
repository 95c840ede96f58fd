// SPDX-License-Identifier: MIT
#pragma once

#include "ORBRouteService/bridges/AVOutputContextBridge.h"

#include "platform/avfoundation/AVOutputContextClass.h"

#include <memory>
#include <vector>

namespace orb {

/// The system's contexts, each through one bridge as long as somebody has that. Owned by ORBSystemClasses;
/// main queue.
class AVOutputContextClassBridge final : public AVOutputContextClassProtocol {
  public:
    /// The class outlives this.
    explicit AVOutputContextClassBridge(avfoundation::AVOutputContextClass& contexts) : contexts_(contexts) {}

    Context init() override { return bridgeOf(contexts_.init()); }
    Context sharedAudioPresentationOutputContext() override {
        return bridgeOf(contexts_.sharedAudioPresentationOutputContext());
    }
    Context auxiliaryOutputContext() override { return bridgeOf(contexts_.auxiliaryOutputContext()); }
    Context defaultSharedOutputContext() override { return bridgeOf(contexts_.defaultSharedOutputContext()); }
    Context sharedSystemAudioContext() override { return bridgeOf(contexts_.sharedSystemAudioContext()); }
    Context iTunesAudioContext() override { return bridgeOf(contexts_.iTunesAudioContext()); }
    Context outputContext() override { return bridgeOf(contexts_.outputContext()); }
    Context outputContextForID(std::string_view identifier) override {
        return bridgeOf(contexts_.outputContextForID(identifier));
    }
    Context outputContextForControllingOutputDeviceGroupWithID(std::string_view group) override {
        return bridgeOf(contexts_.outputContextForControllingOutputDeviceGroupWithID(group));
    }

  private:
    Context bridgeOf(const std::shared_ptr<avfoundation::AVOutputContext>& context);

    avfoundation::AVOutputContextClass& contexts_;
    std::vector<std::weak_ptr<AVOutputContextProtocol>> bridges_;
};

} // namespace orb
