// SPDX-License-Identifier: MIT
#pragma once

#include "platform/airplay/UserAlerts.h"
#include "platform/foundation/DescriptorWatch.h"
#include "platform/foundation/coding/StructCoding.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>

namespace airplay {

/// One question for a password or code, as it goes to a user in another process: a line of JSON. A value.
struct PromptQuestion {
    std::int32_t version = 1;
    std::string ask; // "password" or "code"
    std::string receiver;
    std::string name;
    bool wasWrong = false;

    static PromptQuestion from(const UserAlerts::SecretRequest& request);
};

/// What comes back, as a line of JSON: `{"answer":"…"}` or `{"dismiss":true}`. Nothing prints it.
std::string encodePromptAnswer(const std::optional<Secret>& answer);

/// nullopt for whatever is no answer.
std::optional<Secret> decodePromptAnswer(std::string_view line);

/// A connected Unix stream socket that carries lines, one way or both. Owned by whoever talks over it; on its
/// queue. Nothing waits for the other side.
class PromptChannel {
  public:
    static constexpr std::size_t longestLine = 16 * 1024; // bytes; a longer one ends the channel

    /// `received` is called with each line, without its end; then once with nullopt when the other side has
    /// gone. It may destroy the channel.
    PromptChannel(dispatch::Queue& queue, foundation::FileDescriptor socket,
                  std::function<void(std::optional<std::string> line)> received);

    /// A line, which ends in a line feed. What cannot be sent at once ends the channel for the other side.
    void send(std::string_view line);

    /// The socket of a server of this user at `path`, however long that is; none when there is no such.
    static foundation::FileDescriptor connectTo(const std::filesystem::path& path);

    /// Whether this user is at the other end.
    static bool isSameUser(const foundation::FileDescriptor& socket);

  private:
    void read();

    const int descriptor_; // of the watch
    const std::function<void(std::optional<std::string> line)> received_;
    std::string text_;
    foundation::DescriptorWatch watch_;
};

} // namespace airplay

template <>
struct foundation::Coding<airplay::PromptQuestion> : foundation::StructCoding<airplay::PromptQuestion> {
    using Question = airplay::PromptQuestion;
    static constexpr std::tuple fields{Field{"version", &Question::version}, Field{"ask", &Question::ask},
                                       Field{"receiver", &Question::receiver}, Field{"name", &Question::name},
                                       Field{"wasWrong", &Question::wasWrong}};
};
