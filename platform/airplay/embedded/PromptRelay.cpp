// SPDX-License-Identifier: MIT
#include "platform/airplay/embedded/PromptRelay.h"

#include "platform/foundation/coding/JSONCoder.h"

#include <fmt/format.h>

#include <utility>

namespace airplay {

PromptRelay::PromptRelay(dispatch::Queue& mainQueue, std::filesystem::path socket, Report report)
    : mainQueue_(mainQueue), socket_(std::move(socket)), report_(std::move(report)) {}

PromptRelay::~PromptRelay() = default;

void PromptRelay::leaveToScript(const EmbeddedReceivers& receivers) {
    receivers_ = &receivers;
    scripted_.emplace(receivers, mainQueue_);
}

bool PromptRelay::isScripted(const std::string& receiver) const {
    const auto known = receivers_ != nullptr ? receivers_->receiver(receiver) : nullptr;
    return known && !known->entry()->behaviour.answers.empty();
}

void PromptRelay::asked(const UserAlerts::SecretRequest& request, Answer answer) {
    mainQueue_.assertCurrent();
    if (isScripted(request.receiver)) {
        scripted_->asked(request, std::move(answer));
        return;
    }
    questions_.erase(request.receiver); // the one before has gone from the screen
    foundation::FileDescriptor socket = PromptChannel::connectTo(socket_);
    if (!socket) {
        report_(fmt::format("nobody can be asked at {} for the {} of {}", socket_.string(),
                            PromptQuestion::from(request).ask, request.name));
        mainQueue_.async([answer = std::move(answer)] { answer(std::nullopt); });
        return;
    }
    const auto received = [this, receiver = request.receiver,
                           answer = std::move(answer)](const std::optional<std::string>& line) {
        questions_.erase(receiver);
        answer(line ? decodePromptAnswer(*line) : std::nullopt);
    };
    auto& channel = questions_[request.receiver];
    channel = std::make_unique<PromptChannel>(mainQueue_, std::move(socket), received);
    channel->send(foundation::encodeJSON(PromptQuestion::from(request)) + '\n');
}

} // namespace airplay
