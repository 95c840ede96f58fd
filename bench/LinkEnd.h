// SPDX-License-Identifier: MIT
#pragma once

#include "ORBRouteService/ORBMessagePort.h"
#include "platform/lmn/LMNLog.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace bench {

using dispatch::Task;

/// While it lives, the log is formatted and dropped.
class QuietLog final : public lmn::LMNLogTarget {
  public:
    void write(lmn::LMNLogLevel, std::string_view) noexcept override {}

  private:
    const lmn::LMNLogInstallation installation_{*this};
};

/// One end of a link. Answers a text by itself, and "hold" with nothing. Everything on the main queue, or
/// while that does not run.
class LinkEnd {
  public:
    LinkEnd(dispatch::Realm& realm, const std::filesystem::path& directory, std::string local,
            std::string remote)
        : realm_(realm), directory_(directory), local_(std::move(local)), remote_(std::move(remote)) {}

    void open() {
        port_ = orb::ORBMessagePort::create<std::string>(
            {realm_, pool_, notifications_, directory_}, local_, remote_, nullptr,
            [this](std::string text) { return answer(std::move(text)); });
    }
    Task<> connect() { co_await port_->setupRemotePort(); }
    Task<> close() {
        port_->invalidate();
        co_await pool_.drain();
        port_.reset();
    }
    orb::ORBMessagePort& port() const { return *port_; }

  private:
    Task<std::optional<orb::IPCMessage>> answer(std::string text) {
        if (text == "hold")
            co_return std::nullopt;
        co_return orb::IPCMessage::wrapping(text);
    }

    dispatch::Realm& realm_;
    dispatch::TaskPool pool_{realm_};
    foundation::NotificationCenter notifications_;
    const foundation::RuntimeDirectory directory_;
    const std::string local_;
    const std::string remote_;
    std::shared_ptr<orb::ORBMessagePort> port_;
};

} // namespace bench
