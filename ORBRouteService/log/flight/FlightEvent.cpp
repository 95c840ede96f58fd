// SPDX-License-Identifier: MIT
#include "ORBRouteService/log/flight/FlightEvent.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>
#include <map>
#include <optional>
#include <set>
#include <utility>

namespace orb {
namespace {

using Kind = FlightEvent::Kind;

constexpr std::string_view requestName = "updateDevices";

/// Within what counts can be: a number from a file may be anything.
int countOf(double number) {
    constexpr double most = std::numeric_limits<int>::max();
    return static_cast<int>(std::clamp(number, -most, most));
}

/// Goes through a recording once, and knows what was read before.
class Reader {
  public:
    std::vector<FlightEvent> read(const FlightRecording& recording) {
        for (const FlightRecord& record : recording.records) {
            take(record);
        }
        std::vector<FlightEvent> whole;
        for (Entry& entry : entries_) {
            if (entry.missingDevices == 0)
                whole.push_back(std::move(entry.event));
        }
        return whole;
    }

  private:
    struct Entry {
        FlightEvent event;
        int missingDevices = 0; // those of a message that are still to come
    };

    void take(const FlightRecord& record) {
        switch (record.kind) {
            case FlightKind::messageReceived:
                return takeRequest(record);
            case FlightKind::messageSent:
                return takeAnswer(record);
            case FlightKind::deviceReceived:
            case FlightKind::deviceSent:
                return takeDevice(record);
            case FlightKind::updateBegan:
                isUpdating_ = true;
                return;
            case FlightKind::updateEnded:
                isUpdating_ = false;
                return;
            case FlightKind::settings:
                if (std::exchange(settings_, record.numbers) == record.numbers)
                    return; // read again, as they were
                [[fallthrough]];
            default:
                if (auto event = eventOf(record))
                    entries_.push_back({std::move(*event)});
        }
    }

    void takeRequest(const FlightRecord& record) {
        if (record.subject == requestName) {
            requests_.insert(record.request);
            addMessage(record, {.kind = Kind::devicesRequested, .time = record.time});
        }
    }

    void takeAnswer(const FlightRecord& record) {
        if (requests_.contains(record.request))
            addMessage(record, {.kind = Kind::requestAnswered, .time = record.time, .text = record.text});
    }

    void addMessage(const FlightRecord& record, FlightEvent event) {
        event.request = record.request;
        lastMessages_[{record.kind == FlightKind::messageSent, record.request}] = entries_.size();
        entries_.push_back({std::move(event), countOf(record.numbers[1])});
    }

    void takeDevice(const FlightRecord& record) {
        const auto message = lastMessages_.find({record.kind == FlightKind::deviceSent, record.request});
        if (message == lastMessages_.end())
            return;
        Entry& entry = entries_[message->second];
        if (entry.missingDevices >
            0) { // else of another message with this identifier: the parent's own records
            entry.event.devices.push_back({record.subject, record.text});
            --entry.missingDevices;
        }
    }

    std::optional<FlightEvent> eventOf(const FlightRecord& record) const {
        const auto& [first, second, third] = record.numbers;
        FlightEvent event{.time = record.time};
        switch (record.kind) {
            case FlightKind::launched:
                event.kind = Kind::launched;
                event.devices = {{record.subject, record.text}};
                event.isGrouped = second != 0;
                return event;
            case FlightKind::settings:
                event.kind = Kind::settingsChanged;
                event.renderLatency = first;
                event.prioritizeSync = second != 0;
                event.legacyGroupedAirPlay = third != 0;
                return event;
            case FlightKind::players:
                event.kind = Kind::playersChanged;
                event.count = countOf(first);
                return event;
            case FlightKind::ioBegan:
            case FlightKind::ioEnded:
                event.kind = record.kind == FlightKind::ioBegan ? Kind::ioBegan : Kind::ioEnded;
                return event;
            case FlightKind::outputJoined:
            case FlightKind::outputLeft:
                event.kind =
                    record.kind == FlightKind::outputJoined ? Kind::receiverJoined : Kind::receiverLeft;
                event.devices = {{record.subject, record.text}};
                event.isDuringUpdate = isUpdating_;
                return event;
            case FlightKind::volumeToOutput:
            case FlightKind::volumeFromOutput:
                event.kind = record.kind == FlightKind::volumeToOutput ? Kind::volumeSet : Kind::knobTurned;
                event.devices = {{"", event.kind == Kind::volumeSet ? record.subject : record.text}};
                event.volume = second;
                event.isDuringUpdate = isUpdating_;
                return event;
            case FlightKind::terminated:
                event.kind = Kind::terminated;
                event.text = record.text;
                event.count = countOf(first);
                return event;
            default:
                return std::nullopt;
        }
    }

    std::vector<Entry> entries_;
    std::set<std::uint64_t> requests_;
    std::map<std::pair<bool, std::uint64_t>, std::size_t> lastMessages_; // sent or not; place in entries_
    std::optional<std::array<double, 3>> settings_;
    bool isUpdating_ = false;
};

} // namespace

std::vector<FlightEvent> controlEvents(const FlightRecording& recording) { return Reader().read(recording); }

} // namespace orb
