// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dispatch/virtual/VirtualRealm.h"
#include "platform/foundation/TemporaryDirectory.h"
#include "platform/lmn/LMNDeviceManager.h"

#include <gtest/gtest.h>

#include <memory>

namespace orb {

/// Devices in a temporary directory; their manager is nobody's yet.
class DevicesFixture : public testing::Test {
  protected:
    std::shared_ptr<lmn::LMNDevice> make(const lmn::LMNVirtualDeviceConfig& config) {
        return manager.deviceFromArchive(manager.archiveFromConfig(config, false));
    }

    const foundation::TemporaryDirectory root;
    dispatch::VirtualRealm realm;
    lmn::LMNDeviceManager manager{foundation::RuntimeDirectory(root.path()), realm.mainQueue()};
};

} // namespace orb
