// SPDX-License-Identifier: MIT
#include "ORBRouteService/log/flight/FlightRecorder.h"

#include "platform/dispatch/Queue.h"
#include "platform/lmn/LMNLog.h"

#include <fmt/format.h>

#include <exception>

namespace orb {
namespace {

std::atomic<FlightRecorder*> installedRecorder{nullptr}; // set by the composition root, read by everybody

} // namespace

FlightRecorder::FlightRecorder(const dispatch::Clock& clock) : clock_(clock), memory_(slotCount) { begin(); }

FlightRecorder::FlightRecorder(const dispatch::Clock& clock, const std::filesystem::path& runtimeDirectory)
    : clock_(clock), memory_(slotCount) {
    try {
        openFile(runtimeDirectory);
    } catch (const std::exception& error) {
        lmn::LMNLog(
            4, fmt::format("flight recorder: {}; nothing will be left of it after a crash\n", error.what()));
    }
    begin();
}

void FlightRecorder::openFile(const std::filesystem::path& runtimeDirectory) {
    FlightDirectory directory(runtimeDirectory);
    FlightDirectory::NewRing ring = directory.createRing(clock_.wallNow());
    try {
        memory_ = FlightMemory(std::move(ring.file), slotCount);
    } catch (const std::system_error&) {
        directory.removeRing(ring.name);
        throw;
    }
    name_ = std::move(ring.name);
    directory_.emplace(std::move(directory));
}

void FlightRecorder::begin() noexcept { memory_.begin(clock_.now(), clock_.wallNow()); }

void FlightRecorder::record(FlightKind kind, const FlightNote& note) noexcept {
    const std::uint64_t sequence = memory_.claim();
    const dispatch::Queue* const queue = dispatch::Queue::current();
    memory_.put(encodeFlight(sequence, clock_.now(), kind,
                             queue != nullptr ? std::string_view(queue->label()) : std::string_view(), note));
}

std::string FlightRecorder::contents() const { return memory_.copy(); }

void FlightRecorder::writeSnapshot(const std::filesystem::path& path) const {
    writeFlightFile(path, contents());
}

void FlightRecorder::keepSnapshot() noexcept {
    try {
        if (directory_)
            directory_->keepSnapshot(name_, snapshots_.fetch_add(1) + 1, contents());
    } catch (const std::exception& error) {
        lmn::LMNLog(4, fmt::format("flight recorder: {}; no snapshot was kept\n", error.what()));
    }
}

void FlightRecorder::discard() noexcept {
    if (directory_)
        directory_->removeRing(name_);
}

FlightRecorderInstallation::FlightRecorderInstallation(FlightRecorder& recorder) noexcept
    : outer_(installedRecorder.exchange(&recorder)) {}

FlightRecorderInstallation::~FlightRecorderInstallation() { installedRecorder.store(outer_); }

void recordFlight(FlightKind kind, const FlightNote& note) noexcept {
    if (FlightRecorder* const recorder = installedRecorder.load())
        recorder->record(kind, note);
}

FlightRecorder* flightRecorder() noexcept { return installedRecorder.load(); }

} // namespace orb
