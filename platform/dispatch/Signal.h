// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dispatch/Queue.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>

namespace dispatch {

/// A wake-up that a real-time thread may send: `raise()` makes the handler run on the queue, once for any
/// number of raises before it begins. Raising takes no lock of ours and allocates nothing.
///
/// The handler is not run after the signal is destroyed on its queue; destroyed elsewhere, it may be running
/// at that moment, so it must then own what it touches.
class Signal {
  public:
    Signal(Queue& queue, std::function<void()> handler);
    ~Signal();
    Signal(const Signal&) = delete;
    Signal& operator=(const Signal&) = delete;

    /// Any thread.
    void raise() noexcept;

    /// What travels to the queue: it outlives the signal while under way, and owns the one slot of memory
    /// that its travelling needs.
    struct State : std::enable_shared_from_this<State> {
        explicit State(std::function<void()> handlerToRun) : handler(std::move(handlerToRun)) {}

        /// On the queue.
        void run();

        const std::function<void()> handler;
        std::atomic<bool> raised{false};
        std::atomic<bool> dead{false};
        alignas(std::max_align_t) std::array<std::byte, 256> slot{};
    };

    const std::shared_ptr<State>& state() const { return state_; }

  private:
    Queue& queue_;
    const std::shared_ptr<State> state_;
};

/// Gives an Asio handler the one slot of memory of whoever sends it.
template <typename Value>
class SlotAllocator {
  public:
    using value_type = Value;
    SlotAllocator(std::byte* slot, std::size_t size) : slot_(slot), size_(size) {}
    template <typename Other>
    SlotAllocator(const SlotAllocator<Other>& other) : slot_(other.slot_), size_(other.size_) {}

    Value* allocate(std::size_t count);
    void deallocate(Value*, std::size_t) noexcept {}

    friend bool operator==(const SlotAllocator& left, const SlotAllocator& right) {
        return left.slot_ == right.slot_;
    }

  private:
    template <typename Other>
    friend class SlotAllocator;

    std::byte* slot_;
    std::size_t size_;
};

template <typename Value>
Value* SlotAllocator<Value>::allocate(std::size_t count) {
    if (count * sizeof(Value) > size_)
        std::abort(); // a fixed size of our own, exceeded at the first use or never
    return reinterpret_cast<Value*>(slot_);
}

} // namespace dispatch
