// SPDX-License-Identifier: MIT
#include "platform/airplay/embedded/EmbeddedReceivers.h"

#include "platform/airplay/embedded/ReceiversFile.h"

#include <fmt/format.h>

#include <algorithm>
#include <system_error>
#include <utility>

namespace airplay {

/// Looks at once, whenever something has changed, and whenever the next receiver's delay is over; tells what
/// differs from what it told before.
class EmbeddedReceivers::RunningSearch final : public Search {
  public:
    RunningSearch(EmbeddedReceivers& owner, std::function<void(const Receivers&)> changed)
        : owner_(owner),
          queue_(owner.surroundings_.mainQueue),
          start_(queue_.clock().now()),
          changed_(std::move(changed)) {
        owner_.searches_.push_back(this);
        lookAfter({});
    }

    ~RunningSearch() override {
        queue_.assertCurrent();
        next_->cancel();
        std::erase(owner_.searches_, this);
    }

    void lookAfter(dispatch::Nanoseconds delay) {
        if (next_) {
            next_->cancel();
        }
        next_ = queue_.asyncAfter(delay, [this] { look(); });
    }

  private:
    void look() {
        Receivers inSight;
        std::vector<ReceiverDescription> seen;
        std::optional<dispatch::Nanoseconds> next;
        const dispatch::Nanoseconds passed = queue_.clock().now() - start_;
        for (const auto& receiver : owner_.receivers_) {
            const auto entry = receiver->entry();
            const dispatch::Nanoseconds left = entry->behaviour.discoveryDelay - passed;
            if (!receiver->isInSight().get()) {
                continue;
            }
            if (left.count() > 0) {
                next = std::min(next.value_or(left), left);
                continue;
            }
            inSight.push_back(receiver);
            seen.push_back(entry->description);
        }
        if (next) {
            lookAfter(*next);
        }
        if (std::exchange(seen_, seen) != seen) {
            const auto changed = changed_; // it may destroy this
            changed(inSight);
        }
    }

    EmbeddedReceivers& owner_;
    dispatch::Queue& queue_;
    const dispatch::HostTime start_;
    const std::function<void(const Receivers&)> changed_;
    std::vector<ReceiverDescription> seen_;
    std::shared_ptr<dispatch::DelayedWork> next_;
};

EmbeddedReceivers::EmbeddedReceivers(std::filesystem::path file, EmbeddedReceiver::Surroundings surroundings,
                                     FrameObservers observers)
    : file_(std::move(file)), surroundings_(std::move(surroundings)), observers_(std::move(observers)) {
    try { // before it is read, so that no change is missed
        watcher_.emplace(surroundings_.mainQueue, file_, [this] { fileChanged(); });
    } catch (const std::system_error& error) {
        throw ReceiversFileError(fmt::format("{}: {}", file_.string(), error.code().message()));
    }
    fileChanged();
}

EmbeddedReceivers::~EmbeddedReceivers() = default;

std::unique_ptr<Discovery::Search> EmbeddedReceivers::search(
    std::function<void(const Receivers& inSight)> changed) {
    surroundings_.mainQueue.assertCurrent();
    return std::make_unique<RunningSearch>(*this, std::move(changed));
}

std::shared_ptr<EmbeddedReceiver> EmbeddedReceivers::receiver(std::string_view identifier) const {
    const auto known = known_.find(identifier);
    return known != known_.end() ? known->second.receiver : nullptr;
}

void EmbeddedReceivers::fileChanged() {
    try {
        take(ReceiversFile::read(file_));
    } catch (const ReceiversFileError& error) {
        surroundings_.report(fmt::format("{}; the receivers stay as they were", error.what()));
    }
}

void EmbeddedReceivers::take(std::vector<ReceiverEntry> entries) {
    const auto before = std::exchange(receivers_, {});
    const auto isIn = [](const auto& receivers, const auto& receiver) {
        return std::ranges::find(receivers, receiver) != receivers.end();
    };
    for (ReceiverEntry& entry : entries) {
        receivers_.push_back(receiverWith(std::move(entry)));
        if (!isIn(before, receivers_.back())) {
            receivers_.back()->appear();
        }
    }
    for (const auto& receiver : before) {
        if (!isIn(receivers_, receiver)) {
            receiver->vanish();
        }
    }
    lookAgain();
}

std::shared_ptr<EmbeddedReceiver> EmbeddedReceivers::receiverWith(ReceiverEntry entry) {
    Known& known = known_[entry.description.identifier];
    if (known.receiver) {
        known.receiver->update(std::move(entry));
    } else {
        EmbeddedReceiver::Surroundings surroundings = surroundings_;
        if (observers_) {
            surroundings.observer = observers_(entry.description.identifier);
        }
        known.receiver = std::make_shared<EmbeddedReceiver>(std::move(entry), std::move(surroundings));
        known.sight = known.receiver->isInSight().observe([this](bool) { lookAgain(); });
    }
    return known.receiver;
}

void EmbeddedReceivers::lookAgain() {
    for (RunningSearch* const search : searches_) {
        search->lookAfter({});
    }
}

} // namespace airplay
