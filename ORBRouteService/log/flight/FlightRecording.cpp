// SPDX-License-Identifier: MIT
#include "ORBRouteService/log/flight/FlightRecording.h"

#include "ORBRouteService/log/flight/FlightMemory.h"

#include "platform/foundation/FileDescriptor.h"

#include <fmt/format.h>

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>
#include <system_error>
#include <tuple>

namespace orb {
namespace {

namespace fs = std::filesystem;

/// More than any recorder writes.
constexpr std::uint32_t mostSlots = 65536;
constexpr std::size_t mostBytes = sizeof(FlightHeader) + mostSlots * sizeof(FlightSlot);

/// As for the times of records: what is within can be added up.
constexpr std::int64_t furthestHostTime = std::int64_t{1} << 60;
constexpr std::int64_t furthestWallTime = std::int64_t{1} << 62;

[[noreturn]] void fail(const fs::path& path, std::string_view reason) {
    throw FlightFileError(fmt::format("{}: {}", path.string(), reason));
}

bool isWithin(std::int64_t value, std::int64_t furthest) { return value > -furthest && value < furthest; }

FlightHeader headerOf(std::string_view bytes, const fs::path& path) {
    FlightHeader header;
    if (bytes.size() < sizeof header)
        fail(path, "is no flight recording: it is too short");
    std::memcpy(&header, bytes.data(), sizeof header);
    if (header.magic != FlightHeader::expectedMagic)
        fail(path, "is no flight recording");
    if (header.version != FlightHeader::expectedVersion || header.slotSize != sizeof(FlightSlot))
        fail(path,
             fmt::format("is a flight recording of version {}, which is not understood", header.version));
    if (header.slotCount > mostSlots || bytes.size() != sizeof header + header.slotCount * sizeof(FlightSlot))
        fail(path, fmt::format("{} bytes are not those of {} records", bytes.size(), header.slotCount));
    if (!isWithin(header.hostTime, furthestHostTime) || !isWithin(header.wallTime, furthestWallTime))
        fail(path, "begins at no time that can be");
    return header;
}

bool hasBeenUsed(const FlightSlot& slot) { return slot.sequence != 0 || slot.seal != 0; }

} // namespace

FlightRecording FlightRecording::parse(std::string_view bytes, const fs::path& path) {
    const FlightHeader header = headerOf(bytes, path);
    FlightRecording recording{.process = header.process,
                              .begin = dispatch::HostTime(dispatch::Nanoseconds(header.hostTime)),
                              .beginDate = dispatch::Date(dispatch::Nanoseconds(header.wallTime))};
    for (std::size_t index = 0; index < header.slotCount; ++index) {
        FlightSlot slot;
        std::memcpy(&slot, bytes.data() + sizeof header + index * sizeof slot, sizeof slot);
        if (auto record = decodeFlight(slot))
            recording.records.push_back(std::move(*record));
        else if (hasBeenUsed(slot))
            ++recording.unreadable;
    }
    std::ranges::sort(recording.records, {},
                      [](const FlightRecord& record) { return std::tuple(record.time, record.sequence); });
    if (const auto first = std::ranges::min_element(recording.records, {}, &FlightRecord::sequence);
        first != recording.records.end())
        recording.overwritten = first->sequence - 1;
    return recording;
}

FlightRecording FlightRecording::read(const fs::path& path) { return parse(readFlightFile(path), path); }

std::string readFlightFile(const fs::path& path) {
    const auto failWithError = [&] { fail(path, std::generic_category().message(errno)); };
    const foundation::FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status {};
    if (!file || ::fstat(file.get(), &status) != 0)
        failWithError();
    if (!S_ISREG(status.st_mode))
        fail(path, "is no file");
    std::string bytes(std::min(static_cast<std::size_t>(status.st_size), mostBytes + 1), '\0');
    std::size_t filled = 0;
    while (filled < bytes.size()) {
        const ssize_t count = ::read(file.get(), bytes.data() + filled, bytes.size() - filled);
        if (count < 0 && errno != EINTR)
            failWithError();
        if (count == 0)
            break;
        filled += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
    }
    bytes.resize(filled);
    return bytes;
}

} // namespace orb
