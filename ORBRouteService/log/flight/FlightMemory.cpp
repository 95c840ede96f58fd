// SPDX-License-Identifier: MIT
#include "ORBRouteService/log/flight/FlightMemory.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <bit>
#include <cerrno>
#include <cstring>
#include <new>
#include <system_error>
#include <utility>

namespace orb {
namespace {

using Word = std::atomic_ref<std::uint64_t>;
static_assert(Word::is_always_lock_free);

constexpr std::size_t claimedWord = offsetof(FlightHeader, claimed) / sizeof(std::uint64_t);

/// Every page is there when it is first written, be it by a real-time thread.
void* map(std::size_t size, int flags, int descriptor) {
    void* const memory = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, flags | MAP_POPULATE, descriptor, 0);
    return memory == MAP_FAILED ? nullptr : memory;
}

} // namespace

FlightMemory::FlightMemory(std::uint32_t slotCount)
    : slotCount_(slotCount),
      words_(static_cast<std::uint64_t*>(map(size(), MAP_PRIVATE | MAP_ANONYMOUS, -1))) {
    if (words_ == nullptr)
        throw std::bad_alloc();
}

FlightMemory::FlightMemory(foundation::FileDescriptor file, std::uint32_t slotCount)
    : slotCount_(slotCount), file_(std::move(file)) {
    if (const int error = ::posix_fallocate(file_.get(), 0, static_cast<off_t>(size())); error != 0)
        throw std::system_error(error, std::generic_category());
    words_ = static_cast<std::uint64_t*>(map(size(), MAP_SHARED, file_.get()));
    if (words_ == nullptr)
        throw std::system_error(errno, std::generic_category());
}

FlightMemory::FlightMemory(FlightMemory&& other) noexcept
    : slotCount_(other.slotCount_),
      file_(std::move(other.file_)),
      words_(std::exchange(other.words_, nullptr)) {}

FlightMemory& FlightMemory::operator=(FlightMemory&& other) noexcept {
    std::swap(slotCount_, other.slotCount_);
    std::swap(file_, other.file_);
    std::swap(words_, other.words_);
    return *this;
}

FlightMemory::~FlightMemory() {
    if (words_ != nullptr)
        ::munmap(words_, size());
}

std::size_t FlightMemory::size() const { return sizeof(FlightHeader) + slotCount_ * sizeof(FlightSlot); }

void FlightMemory::begin(dispatch::HostTime now, dispatch::Date date) noexcept {
    const FlightHeader header{.slotCount = slotCount_,
                              .process = ::getpid(),
                              .hostTime = now.time_since_epoch().count(),
                              .wallTime = date.time_since_epoch().count()};
    std::memcpy(words_, &header, sizeof header);
}

std::uint64_t FlightMemory::claim() noexcept {
    return Word(words_[claimedWord]).fetch_add(1, std::memory_order_relaxed) + 1;
}

// The seal takes the place of any order between the words.
void FlightMemory::put(const FlightSlot& slot) noexcept {
    const auto words = std::bit_cast<FlightSlot::Words>(slot);
    std::uint64_t* const place =
        words_ + (1 + (slot.sequence - 1) % slotCount_) * FlightSlot::wordCount; // behind the header
    for (std::size_t index = 0; index < slot.usedWords(); ++index)
        Word(place[index]).store(words[index], std::memory_order_relaxed);
}

std::string FlightMemory::copy() const {
    std::string bytes(size(), '\0');
    for (std::size_t index = 0; index < size() / sizeof(std::uint64_t); ++index) {
        const std::uint64_t word = Word(words_[index]).load(std::memory_order_relaxed);
        std::memcpy(bytes.data() + index * sizeof word, &word, sizeof word);
    }
    return bytes;
}

} // namespace orb
