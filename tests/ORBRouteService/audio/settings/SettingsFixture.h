// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dispatch/virtual/VirtualRealm.h"
#include "platform/foundation/JsonFile.h"
#include "platform/foundation/TemporaryDirectory.h"
#include "tests/ORBRouteService/audio/settings/SettingsProcess.h"

#include <gtest/gtest.h>

#include <boost/json.hpp>

#include <string>
#include <utility>
#include <vector>

namespace orb {

/// Processes on one virtual realm, in one directory; and somebody else there, who counts what they tell.
class SettingsFixture : public testing::Test {
  protected:
    /// One that runs; what its creation brought about is over.
    std::unique_ptr<SettingsProcess> start() {
        auto process = makeProcess();
        process->makeManager();
        realm.settle();
        return process;
    }

    std::unique_ptr<SettingsProcess> makeProcess() {
        return std::make_unique<SettingsProcess>(
            realm, root.path(), [this](std::string line) { reports.push_back(std::move(line)); });
    }

    /// Distributed notifications of a changed configuration since the last time asked.
    int told() {
        realm.settle();
        return std::exchange(heard, 0);
    }

    /// In place of whatever is there, as another program would put it.
    void store(const std::string& text) {
        std::filesystem::create_directories(file.parent_path());
        foundation::writeFile(file, text);
    }

    boost::json::value stored() const { return foundation::JsonFile(file).read().value(); }

    const foundation::TemporaryDirectory root;
    const std::filesystem::path file = root / "config" / (std::string(ORBUserDefaults::suite) + ".json");
    dispatch::VirtualRealm realm;
    std::vector<std::string> reports;
    foundation::DistributedNotificationCenter outside{
        realm.mainQueue(), foundation::RuntimeDirectory(root.path()),
        [this](std::string line) { reports.push_back(std::move(line)); }};
    int heard = 0;
    const foundation::Subscription ear =
        outside.observe(ORBConfigurationDidChange, std::nullopt, realm.mainQueue(),
                        [this](const foundation::DistributedNotification& notification) {
                            EXPECT_EQ(notification.object, std::nullopt);
                            ++heard;
                        });
};

} // namespace orb
