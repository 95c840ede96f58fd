// SPDX-License-Identifier: MIT
// A receivers file: its limits hold, errors point into it, and what was read, written down again, reads the
// same.
#include "fuzz/Fuzzing.h"
#include "platform/airplay/embedded/ReceiversFile.h"
#include "platform/foundation/coding/Base64.h"

#include <boost/json.hpp>

#include <algorithm>
#include <array>
#include <charconv>

namespace {

using namespace airplay;

void judgeError(std::string_view text, std::string_view what) {
    ORB_CHECK(what.starts_with("file:"), "{}", what);
    const auto number = [&] {
        what.remove_prefix(what.find(':') + 1);
        std::size_t result = 0;
        std::from_chars(what.data(), what.data() + what.size(), result);
        return result;
    };
    const std::size_t line = number();
    fuzz::requirePlaceWithin(text, line, number());
}

void judgeDelay(dispatch::Nanoseconds delay) {
    ORB_CHECK(delay.count() >= 0 && delay <= std::chrono::hours(1), "{}", delay.count());
}

void judge(const ReceiverDescription& description) {
    ORB_CHECK(!description.name.empty() && description.name.size() <= 63, "{}", description.name);
    ORB_CHECK(description.identifier.size() == 17, "{}", description.identifier);
    for (const auto& [key, value] : description.txt) {
        ORB_CHECK(!key.empty() && key.size() + value.size() <= 254, "{}={}", key, value);
    }
}

void judge(const ReceiverEntry& entry) {
    const ReceiverBehaviour& behaviour = entry.behaviour;
    judge(entry.description);
    judge(behaviour.connectsAs.value_or(entry.description));
    ORB_CHECK(entry.volume >= 0 && entry.volume <= 1, "{}", entry.volume);
    judgeDelay(behaviour.discoveryDelay);
    judgeDelay(behaviour.connectDelay);
    judgeDelay(behaviour.disconnectDelay);
    judgeDelay(behaviour.lostAfter.value_or(dispatch::Nanoseconds{}));
    ORB_CHECK(behaviour.answers.size() <= 16, "{}", behaviour.answers.size());
    ORB_CHECK(!entry.file || (entry.file->has_filename() && *entry.file->filename().c_str() != '\0'),
              "no file");
}

/// Read again, it is the same number of nanoseconds, although reading cuts fractions of one off.
double seconds(dispatch::Nanoseconds delay) {
    return std::min((static_cast<double>(delay.count()) + 0.5) / 1e9, 3600.0);
}

boost::json::object describe(const ReceiverDescription& description) {
    boost::json::object txt;
    for (const auto& [key, value] : description.txt) {
        txt[key] = boost::json::object{{"base64", foundation::base64({value})}};
    }
    return {{"name", description.name}, {"id", description.identifier}, {"txt", txt}};
}

void describe(const ReceiverBehaviour& behaviour, boost::json::object& receiver) {
    static constexpr std::array outcomes{"connects", "refuses", "never", "vanishes"};
    receiver["discoveryDelay"] = seconds(behaviour.discoveryDelay);
    receiver["connectDelay"] = seconds(behaviour.connectDelay);
    receiver["disconnectDelay"] = seconds(behaviour.disconnectDelay);
    receiver["outcome"] = outcomes.at(static_cast<std::size_t>(behaviour.outcome));
    if (const auto& wanted = behaviour.wanted) {
        receiver[wanted->kind == SecretKind::password ? "password" : "code"] = wanted->secret.reveal();
    }
    boost::json::array answers;
    for (const auto& [after, secret] : behaviour.answers) {
        boost::json::object answer{{"after", seconds(after)}};
        secret ? answer["text"] = secret->reveal() : answer["dismiss"] = true;
        answers.push_back(std::move(answer));
    }
    receiver["answers"] = std::move(answers);
    if (behaviour.connectsAs) {
        receiver["connectsAs"] = describe(*behaviour.connectsAs);
    }
    if (behaviour.lostAfter) {
        receiver["lostAfter"] = seconds(*behaviour.lostAfter);
    }
}

std::string textOf(const std::vector<ReceiverEntry>& entries) {
    boost::json::array receivers;
    for (const ReceiverEntry& entry : entries) {
        boost::json::object receiver = describe(entry.description);
        if (entry.description.row) {
            receiver["row"] = *entry.description.row;
        }
        if (entry.file) {
            receiver["file"] = entry.file->string();
        }
        receiver["volume"] = entry.volume;
        describe(entry.behaviour, receiver);
        receivers.push_back(std::move(receiver));
    }
    return boost::json::serialize(boost::json::object{{"version", 1}, {"receivers", receivers}});
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text = fuzz::textOf(data, size);
    const auto entries = fuzz::parsed<ReceiversFileError>(
        [&] { return ReceiversFile::parse(text, "file"); },
        [&](const ReceiversFileError& error) { judgeError(text, error.what()); });
    if (entries) {
        for (const ReceiverEntry& entry : *entries) {
            judge(entry);
        }
        const std::string written = textOf(*entries);
        ORB_CHECK(textOf(ReceiversFile::parse(written, "file")) == written, "it reads otherwise");
    }
    return 0;
}
