// SPDX-License-Identifier: MIT
// Preloaded into a program, moves what it takes for the wall clock by as many seconds as a file says, at once
// and for as long as the file says so. All other clocks are the machine's.
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <ctime>

namespace {

using Offset = std::atomic<std::int64_t>;
using ReadClock = int (*)(clockid_t, timespec*);

/// Shared with whoever writes the file; nullptr without a file.
const Offset* mapOffset() {
    const char* file = std::getenv("STEPPED_CLOCK_FILE");
    const int descriptor = file != nullptr ? ::open(file, O_RDONLY | O_CLOEXEC) : -1;
    if (descriptor < 0) {
        return nullptr;
    }
    void* memory = ::mmap(nullptr, sizeof(Offset), PROT_READ, MAP_SHARED, descriptor, 0);
    ::close(descriptor);
    return memory != MAP_FAILED ? static_cast<const Offset*>(memory) : nullptr;
}

std::int64_t offset() {
    static const Offset* const shared = mapOffset();
    return shared != nullptr ? shared->load() : 0;
}

} // namespace

// The declarations are the C library's.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)
extern "C" {

int clock_gettime(clockid_t clock, timespec* time) noexcept {
    static const auto next = reinterpret_cast<ReadClock>(::dlsym(RTLD_NEXT, "clock_gettime"));
    const int result = next(clock, time);
    if (result == 0 && (clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE)) {
        time->tv_sec += offset();
    }
    return result;
}

int gettimeofday(timeval* time, void*) noexcept {
    timespec now{};
    const int result = clock_gettime(CLOCK_REALTIME, &now);
    *time = {.tv_sec = now.tv_sec, .tv_usec = now.tv_nsec / 1000};
    return result;
}

std::time_t time(std::time_t* time) noexcept {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    if (time != nullptr) {
        *time = now.tv_sec;
    }
    return now.tv_sec;
}

} // extern "C"
// NOLINTEND(readability-inconsistent-declaration-parameter-name)
