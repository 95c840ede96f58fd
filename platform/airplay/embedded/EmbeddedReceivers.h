// SPDX-License-Identifier: MIT
#pragma once

#include "platform/airplay/Discovery.h"
#include "platform/airplay/embedded/EmbeddedReceiver.h"
#include "platform/foundation/FileWatcher.h"

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace airplay {

/// Gives the observer of the receiver with that identifier. It may be empty.
using FrameObservers = std::function<FrameObserver(const std::string& identifier)>;

/// The receivers of a receivers file, which is watched: who edits it lets receivers appear, leave, describe
/// themselves anew and turn their own knobs. In sight are those of the file, in its order, but for those that
/// vanished by themselves. One that leaves the file loses its connections, and is the same object when it
/// comes back. A file that has become unusable is reported, and everything stays as it was.
/// Made by the composition root; main queue.
class EmbeddedReceivers final : public Discovery {
  public:
    /// On the main queue or where nothing runs on it. A file that is missing or unusable is reported, and
    /// taken once it is there. Throws ReceiversFileError when its directory cannot be watched.
    /// Each receiver has an observer of its own if `observers` is there.
    EmbeddedReceivers(std::filesystem::path file, EmbeddedReceiver::Surroundings surroundings,
                      FrameObservers observers = {});
    ~EmbeddedReceivers() override;

    std::unique_ptr<Search> search(std::function<void(const Receivers& inSight)> changed) override;

    /// Those of the file, in its order.
    const std::vector<std::shared_ptr<EmbeddedReceiver>>& receivers() const { return receivers_; }

    /// One that is or was in the file; nullptr when there is none such.
    std::shared_ptr<EmbeddedReceiver> receiver(std::string_view identifier) const;

  private:
    class RunningSearch;

    struct Known {
        std::shared_ptr<EmbeddedReceiver> receiver;
        foundation::Subscription sight;
    };

    void fileChanged();
    void take(std::vector<ReceiverEntry> entries);
    std::shared_ptr<EmbeddedReceiver> receiverWith(ReceiverEntry entry);
    void lookAgain();

    const std::filesystem::path file_;
    const EmbeddedReceiver::Surroundings surroundings_;
    const FrameObservers observers_;
    std::map<std::string, Known, std::less<>> known_; // by identifier; for ever
    std::vector<std::shared_ptr<EmbeddedReceiver>> receivers_;
    std::vector<RunningSearch*> searches_;
    std::optional<foundation::FileWatcher> watcher_;
};

} // namespace airplay
