// SPDX-License-Identifier: MIT
#include "orbctl/terminal/PromptDesk.h"

#include "platform/foundation/coding/JSONCoder.h"
#include "platform/foundation/coding/UUID.h"

#include <fmt/format.h>
#include <boost/asio/local/stream_protocol.hpp>

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

namespace orbctl {
namespace {

constexpr int backlog = 16;

/// A service looks every half second whether a question is shown; one that it has not seen it cannot report.
constexpr auto dismissalDelay = std::chrono::milliseconds(1500);

foundation::FileDescriptor listenAt(const std::string& path) {
    const boost::asio::local::stream_protocol::endpoint address(path);
    foundation::FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!socket || ::bind(socket.get(), address.data(), static_cast<socklen_t>(address.size())) != 0 ||
        ::listen(socket.get(), backlog) != 0) {
        throw std::system_error(errno, std::generic_category(), "no socket for questions");
    }
    return socket;
}

std::string textOf(const airplay::PromptQuestion& question) {
    return fmt::format("{}Enter the {} of {}: ", question.wasWrong ? "That was wrong. " : "", question.ask,
                       question.name);
}

} // namespace

PromptDesk::PromptDesk(dispatch::Queue& mainQueue, const foundation::RuntimeDirectory& runtimeDirectory,
                       Terminal& terminal, std::function<void(const std::string& line)> say)
    : mainQueue_(mainQueue),
      directory_(runtimeDirectory.subdirectory("prompts")),
      name_(foundation::UUID::random().string()),
      terminal_(terminal),
      say_(std::move(say)) {
    listener_.emplace(mainQueue, listenAt(directory_.socketPath(name_)),
                      [this](int listener) { accept(listener); });
}

PromptDesk::~PromptDesk() {
    withdraw();
    directory_.discard(name_);
}

std::filesystem::path PromptDesk::socket() const { return directory_.path() / name_; }

void PromptDesk::accept(int listener) {
    foundation::FileDescriptor socket(::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (!socket || !airplay::PromptChannel::isSameUser(socket)) {
        return;
    }
    const auto visitor = visitors_.insert(visitors_.end(), Visitor{});
    visitor->channel = std::make_unique<airplay::PromptChannel>(
        mainQueue_, std::move(socket),
        [this, visitor](const std::optional<std::string>& line) { received(visitor, line); });
}

void PromptDesk::received(Visitors::iterator visitor, const std::optional<std::string>& line) {
    if (line && !visitor->question) {
        try {
            visitor->question = foundation::decodeJSON<airplay::PromptQuestion>(*line);
        } catch (const foundation::DecodingError&) {
            visitors_.erase(visitor);
        }
    } else {
        if (asking_ == visitor) {
            withdraw();
        }
        visitors_.erase(visitor);
    }
    askNext();
}

void PromptDesk::askNext() {
    while (asking_ == visitors_.end()) {
        asking_ = std::ranges::find_if(visitors_,
                                       [](const Visitor& visitor) { return visitor.question.has_value(); });
        if (asking_ == visitors_.end()) {
            return;
        }
        const airplay::PromptQuestion& question = *asking_->question;
        const auto answered = [this](const std::optional<airplay::Secret>& secret) {
            answer(secret);
            askNext();
        };
        if (!terminal_.askSecret(textOf(question), answered)) {
            say_(fmt::format("{} asks for a {}, and there is no terminal to ask at: dismissed", question.name,
                             question.ask));
            dismissal_ = mainQueue_.asyncAfter(dismissalDelay, [answered] { answered(std::nullopt); });
        }
    }
}

void PromptDesk::withdraw() {
    terminal_.withdraw();
    if (dismissal_) {
        dismissal_->cancel();
    }
    asking_ = visitors_.end();
}

void PromptDesk::answer(const std::optional<airplay::Secret>& secret) {
    asking_->channel->send(airplay::encodePromptAnswer(secret));
    visitors_.erase(std::exchange(asking_, visitors_.end()));
}

} // namespace orbctl
