// SPDX-License-Identifier: MIT
#include "ORBRouteService/log/flight/FlightDirectory.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <system_error>
#include <utility>

namespace orb {
namespace {

namespace fs = std::filesystem;
using foundation::FileDescriptor;

constexpr std::string_view ringExtension = ".ring";
constexpr std::string_view snapshotExtension = ".flight";

/// Processes of one number that may begin within one millisecond, in directories that outlive their system.
constexpr int mostNamesakes = 16;

[[noreturn]] void fail(const fs::path& path) {
    throw std::system_error(errno, std::generic_category(), path.string());
}

std::string stampOf(dispatch::Date date) {
    const auto seconds = std::chrono::floor<std::chrono::seconds>(date);
    const auto millis = std::chrono::duration_cast<std::chrono::milliseconds>(date - seconds).count();
    const std::time_t time = seconds.time_since_epoch().count();
    return fmt::format("{:%Y%m%dT%H%M%S}.{:03}Z", fmt::gmtime(time), millis);
}

bool isLocked(const fs::path& path) {
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    return file && ::flock(file.get(), LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK;
}

/// Takes the files from the front until only so many are left.
void removeAllBut(std::size_t kept, const std::vector<fs::path>& files) {
    for (std::size_t index = 0; index + kept < files.size(); ++index) {
        std::error_code ignored; // another process may have been quicker
        fs::remove(files[index], ignored);
    }
}

bool writeAll(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
        if (count < 0 && errno != EINTR)
            return false;
        bytes.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    }
    return true;
}

} // namespace

FlightDirectory::FlightDirectory(const fs::path& runtimeDirectory)
    : directory_(foundation::RuntimeDirectory(runtimeDirectory).subdirectory("flights")) {}

FlightDirectory::NewRing FlightDirectory::createRing(dispatch::Date date) const {
    removeDeadRings();
    const std::string base = fmt::format("{}-{}", stampOf(date), ::getpid());
    for (int namesake = 0;; ++namesake) {
        std::string name = namesake == 0 ? base : fmt::format("{}+{}", base, namesake);
        const fs::path path = directory_.path() / fmt::format("{}{}", name, ringExtension);
        FileDescriptor file(::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR));
        if (file) {
            if (::flock(file.get(), LOCK_EX) != 0)
                fail(path);
            return {std::move(name), std::move(file)};
        }
        if (errno != EEXIST || namesake == mostNamesakes)
            fail(path);
    }
}

void FlightDirectory::removeRing(const std::string& name) const noexcept {
    ::unlinkat(directory_.descriptor(), (name + std::string(ringExtension)).c_str(), 0);
}

void FlightDirectory::keepSnapshot(const std::string& name, int number, std::string_view bytes) const {
    writeFlightFile(directory_.path() / fmt::format("{}-{:03}{}", name, number, snapshotExtension), bytes);
    removeOldSnapshots();
}

std::vector<FlightDirectory::Ring> FlightDirectory::rings() const {
    std::vector<Ring> rings;
    for (const fs::path& path : files(ringExtension))
        rings.push_back({path, isLocked(path)});
    return rings;
}

std::vector<fs::path> FlightDirectory::files(std::string_view extension) const {
    std::vector<fs::path> found;
    for (const auto& entry : fs::directory_iterator(directory_.path())) {
        if (entry.path().extension() == extension)
            found.push_back(entry.path());
    }
    std::ranges::sort(found);
    return found;
}

void FlightDirectory::removeOldSnapshots() const {
    std::vector<std::pair<fs::file_time_type, fs::path>> byAge;
    for (fs::path& path : files(snapshotExtension)) {
        std::error_code ignored; // gone: the earliest of times
        const auto written = fs::last_write_time(path, ignored);
        byAge.emplace_back(written, std::move(path));
    }
    std::ranges::sort(byAge);
    std::vector<fs::path> oldestFirst;
    oldestFirst.reserve(byAge.size());
    for (auto& [written, path] : byAge)
        oldestFirst.push_back(std::move(path));
    removeAllBut(keptCount, oldestFirst);
}

void FlightDirectory::removeDeadRings() const {
    std::vector<fs::path> dead;
    for (Ring& ring : rings()) {
        if (!ring.isOfLivingProcess)
            dead.push_back(std::move(ring.path));
    }
    removeAllBut(keptCount, dead);
}

void writeFlightFile(const fs::path& path, std::string_view bytes) {
    std::string temporary = path.string() + ".XXXXXX";
    const FileDescriptor file(::mkostemp(temporary.data(), O_CLOEXEC)); // mode 0600
    if (!file)
        fail(path);
    if (!writeAll(file.get(), bytes) || ::rename(temporary.c_str(), path.c_str()) != 0) {
        const int error = errno;
        ::unlink(temporary.c_str());
        errno = error;
        fail(path);
    }
}

} // namespace orb
