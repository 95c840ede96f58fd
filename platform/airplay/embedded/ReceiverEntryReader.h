// SPDX-License-Identifier: MIT
#pragma once

#include "platform/airplay/embedded/LocatedReader.h"
#include "platform/airplay/embedded/ReceiverEntry.h"

#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <string_view>

namespace airplay {

/// Reads the entries of one receivers file and keeps their identifiers and files apart. Text and path outlive
/// it. Any thread.
class ReceiverEntryReader {
  public:
    ReceiverEntryReader(std::string_view text, const std::filesystem::path& path)
        : reader_(text, path), directory_(path.parent_path()) {}

    /// Throws ReceiversFileError.
    ReceiverEntry read(const LocatedJson& object);

  private:
    using Behaviour = ReceiverBehaviour;
    using TxtRecord = std::map<std::string, std::string>;

    std::string identifier(const LocatedJson& object) const;
    std::filesystem::path file(const LocatedJson& object);
    TxtRecord txtRecord(const LocatedJson& object) const;
    std::string txtValue(const std::string& key, const LocatedJson& value) const;
    Behaviour behaviour(const LocatedJson& object, const ReceiverDescription& description) const;
    std::optional<Behaviour::WantedSecret> wantedSecret(const LocatedJson& object) const;
    std::vector<Behaviour::Answer> answers(const LocatedJson& array) const;
    Behaviour::Answer answer(const LocatedJson& object) const;
    Behaviour::Outcome outcome(const LocatedJson& value) const;
    ReceiverDescription connectsAs(const LocatedJson& object, ReceiverDescription description) const;

    const LocatedReader reader_;
    const std::filesystem::path directory_;
    std::set<std::string> identifiers_; // in upper case
    std::set<std::filesystem::path> files_;
};

} // namespace airplay
