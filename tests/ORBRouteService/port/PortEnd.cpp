// SPDX-License-Identifier: MIT
#include "tests/ORBRouteService/port/PortEnd.h"

#include <sstream>
#include <utility>

namespace orb::test {

PortEnd::PortEnd(const std::filesystem::path& folder, const std::string& local, const std::string& remote)
    : directory(folder) {
    realm.mainQueue().async([this, local, remote] {
        port = ORBMessagePort::create<std::string>(
            {realm, pool, notifications, directory}, local, remote, [this] { return disconnected(); },
            [this](std::string text) { return answer(std::move(text)); });
        changed();
    });
    runUntil([this] { return port != nullptr; });
}

PortEnd::~PortEnd() {
    realm.mainQueue().async([this] {
        port->invalidate();
        tasks.cancel();
        tasks.spawn(drainPool());
    });
    runUntil([this] {
        if (isDrained_ && tasks.running() == 0) {
            port.reset();
        }
        return port == nullptr;
    });
}

Task<> PortEnd::drainPool() {
    co_await pool.drain();
    isDrained_ = true;
    changed();
}

bool PortEnd::runUntil(std::function<bool()> condition) {
    bool met = false;
    onChange = [this, &met, condition = std::move(condition)] {
        met = condition();
        if (met) {
            realm.stop();
        }
    };
    const auto limit = realm.mainQueue().asyncAfter(std::chrono::seconds(50), [this] { realm.stop(); });
    changed();
    realm.run();
    limit->cancel();
    onChange = nullptr;
    return met;
}

void PortEnd::changed() {
    realm.mainQueue().async([this] {
        if (onChange) {
            onChange();
        }
    });
}

Task<std::string> PortEnd::connect() {
    try {
        co_await port->setupRemotePort();
    } catch (const std::exception& error) {
        co_return error.what();
    }
    co_return "connected";
}

Task<std::string> PortEnd::ask(std::string text) {
    try {
        const std::optional<dispatch::Seconds> timeout(20);
        co_return co_await port->sendMessage<std::string>(std::move(text), timeout);
    } catch (const std::exception& error) {
        co_return error.what();
    }
}

void PortEnd::burst(const std::string& sender, int count, std::size_t padding) {
    const std::string rest(padding, 'x');
    for (int number = 0; number < count; ++number) {
        port->sendMessage(fmt::format("notice {} {} {}", sender, number, rest));
    }
}

std::size_t PortEnd::lost() const { return log.count(1, port->description() + ": message send timed out"); }

Task<> PortEnd::disconnected() {
    ++disconnections;
    disconnectedAt = realm.clock().now();
    changed();
    co_return;
}

Task<std::optional<IPCMessage>> PortEnd::answer(std::string text) {
    if (!text.starts_with("notice ")) {
        co_return IPCMessage::wrapping("answer to " + text);
    }
    realm.mainQueue().async([this, text = std::move(text)] { count(text); });
    co_return std::nullopt;
}

void PortEnd::count(const std::string& notice) {
    std::istringstream words(notice);
    std::string kind, sender;
    int number = -1;
    words >> kind >> sender >> number;
    tallies[sender].add(number);
    if (onChange) {
        onChange();
    }
}

} // namespace orb::test
