// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

namespace dispatch {

/// A piece of work for a queue: a callable without arguments or result that is moved, never copied, and run
/// at most once. Callables of up to `inlineSize` bytes need no allocation.
class Work {
  public:
    Work() = default;

    template <typename Callable>
        requires(!std::is_same_v<std::remove_cvref_t<Callable>, Work>)
    Work(Callable&& callable) { // NOLINT(google-explicit-constructor): work is written as a lambda
        using Stored = std::remove_cvref_t<Callable>;
        if constexpr (fitsInline<Stored>) {
            new (storage_) Stored(std::forward<Callable>(callable));
            operations_ = &inlineOperations<Stored>;
        } else {
            new (storage_) Stored*(new Stored(std::forward<Callable>(callable)));
            operations_ = &heapOperations<Stored>;
        }
    }

    Work(Work&& other) noexcept : operations_(std::exchange(other.operations_, nullptr)) {
        if (operations_ != nullptr)
            operations_->relocate(other.storage_, storage_);
    }

    Work& operator=(Work&& other) noexcept {
        if (this != &other) {
            reset();
            operations_ = std::exchange(other.operations_, nullptr);
            if (operations_ != nullptr)
                operations_->relocate(other.storage_, storage_);
        }
        return *this;
    }

    Work(const Work&) = delete;
    Work& operator=(const Work&) = delete;
    ~Work() { reset(); }

    explicit operator bool() const { return operations_ != nullptr; }
    void operator()() { operations_->run(storage_); }

    void reset() {
        if (operations_ != nullptr)
            std::exchange(operations_, nullptr)->destroy(storage_);
    }

  private:
    static constexpr std::size_t inlineSize = 64;

    struct Operations {
        void (*run)(void*);
        void (*relocate)(void* from, void* to) noexcept;
        void (*destroy)(void*) noexcept;
    };

    template <typename Stored>
    static constexpr bool fitsInline =
        sizeof(Stored) <= inlineSize && alignof(Stored) <= alignof(std::max_align_t) &&
        std::is_nothrow_move_constructible_v<Stored>;

    template <typename Stored>
    static Stored* at(void* storage) {
        return std::launder(static_cast<Stored*>(storage));
    }

    template <typename Stored>
    static constexpr Operations inlineOperations{
        [](void* storage) { (*at<Stored>(storage))(); },
        [](void* from, void* to) noexcept {
            new (to) Stored(std::move(*at<Stored>(from)));
            std::destroy_at(at<Stored>(from));
        },
        [](void* storage) noexcept { std::destroy_at(at<Stored>(storage)); },
    };

    template <typename Stored>
    static constexpr Operations heapOperations{
        [](void* storage) { (**at<Stored*>(storage))(); },
        [](void* from, void* to) noexcept { new (to) Stored*(*at<Stored*>(from)); },
        [](void* storage) noexcept { delete *at<Stored*>(storage); },
    };

    const Operations* operations_ = nullptr;
    alignas(std::max_align_t) std::byte storage_[inlineSize];
};

/// A borrowed callable, valid only during the call it is passed to.
template <typename Signature>
class FunctionRef;

template <typename Result, typename... Arguments>
class FunctionRef<Result(Arguments...)> {
  public:
    template <typename Callable>
        requires(!std::is_same_v<std::remove_cvref_t<Callable>, FunctionRef>)
    FunctionRef(Callable&& callable) // NOLINT(google-explicit-constructor): borrowed for one call
        : object_(const_cast<void*>(static_cast<const void*>(std::addressof(callable)))),
          call_([](void* object, Arguments... arguments) -> Result {
              return (*static_cast<std::remove_reference_t<Callable>*>(object))(
                  std::forward<Arguments>(arguments)...);
          }) {}

    Result operator()(Arguments... arguments) const {
        return call_(object_, std::forward<Arguments>(arguments)...);
    }

  private:
    void* object_;
    Result (*call_)(void*, Arguments...);
};

} // namespace dispatch
