// SPDX-License-Identifier: MIT
#include "platform/airplay/embedded/ScriptedUser.h"

#include <utility>

namespace airplay {

void ScriptedUser::asked(const UserAlerts::SecretRequest& request, Answer answer) {
    mainQueue_.assertCurrent();
    const auto receiver = receivers_.receiver(request.receiver);
    if (!receiver) {
        return;
    }
    std::size_t& question = questions_[request.receiver];
    question = request.wasWrong ? question + 1 : 0; // the first one of an attempt follows no answer
    const auto entry = receiver->entry();
    const auto& answers = entry->behaviour.answers;
    if (question < answers.size()) {
        mainQueue_.asyncAfter(
            answers[question].after,
            [answer = std::move(answer), secret = answers[question].secret] { answer(secret); });
    }
}

} // namespace airplay
