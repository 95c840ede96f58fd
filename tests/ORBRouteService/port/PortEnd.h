// SPDX-License-Identifier: MIT
#pragma once

#include "ORBRouteService/ORBMessagePort.h"

#include "platform/dispatch/real/RealRealm.h"
#include "tests/support/LogCapture.h"

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>

namespace orb::test {

using dispatch::Task;

/// The notices of one sender, which numbers them from 0.
struct Tally {
    void add(int number) {
        ++received;
        disorderly += number <= last ? 1 : 0;
        last = number;
    }

    std::size_t received = 0;
    std::size_t disorderly = 0; // came twice, or behind a later one
    int last = -1;
};

/// What a process is built of that has one end of a link, in real time. Counts what it is sent as
/// "notice SENDER NUMBER ..."; answers any other text. Everything on the main queue, or while that does not
/// run.
class PortEnd {
  public:
    PortEnd(const std::filesystem::path& folder, const std::string& local, const std::string& remote);
    ~PortEnd();

    /// Runs the main queue until `condition` holds, which is looked at on it after each change; false when
    /// that takes beyond all patience.
    bool runUntil(std::function<bool()> condition);

    /// Something may have come true.
    void changed();

    /// "connected", or why not.
    Task<std::string> connect();

    /// The answer, or why there is none.
    Task<std::string> ask(std::string text);

    /// Sends notices of this many further bytes each, all in one turn; they leave in later ones.
    void burst(const std::string& sender, int count, std::size_t padding);

    /// How many found the queue full.
    std::size_t lost() const;

    lmn::LogCapture log;
    dispatch::RealRealm realm;
    dispatch::TaskPool pool{realm};
    foundation::NotificationCenter notifications;
    const foundation::RuntimeDirectory directory;
    dispatch::TaskGroup tasks{realm.mainQueue()};
    std::shared_ptr<ORBMessagePort> port;
    std::map<std::string, Tally> tallies; // by sender
    int disconnections = 0;
    dispatch::HostTime disconnectedAt{};
    std::function<void()> onChange;

  private:
    Task<> disconnected();
    Task<std::optional<IPCMessage>> answer(std::string text);
    void count(const std::string& notice);
    Task<> drainPool();

    bool isDrained_ = false;
};

} // namespace orb::test
