// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dispatch/Completion.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/this_coro.hpp>

#include <exception>
#include <memory>
#include <type_traits>
#include <utility>
#include <variant>

namespace dispatch {
namespace detail {

/// What a task gives or throws.
template <typename Result>
using Outcome =
    std::variant<std::conditional_t<std::is_void_v<Result>, std::monostate, Result>, std::exception_ptr>;

template <typename Result>
Task<Outcome<Result>> outcomeOf(Task<Result> task) {
    try {
        if constexpr (std::is_void_v<Result>) {
            co_await std::move(task);
            co_return std::monostate{};
        } else {
            co_return co_await std::move(task);
        }
    } catch (...) {
        co_return std::current_exception();
    }
}

template <typename Result>
Task<> completeBy(std::shared_ptr<Completion<Outcome<Result>>> completion, Task<Result> task) {
    Outcome<Result> outcome = co_await outcomeOf(std::move(task));
    completion->complete(std::move(outcome));
}

} // namespace detail

/// Runs `task` on `queue`, whichever queue the calling task runs on; its result, or what it throws, comes
/// back to the caller's queue. A cancellation of the caller does not reach it. The queue is not cancelled
/// meanwhile, or the caller waits for ever.
template <typename Result>
Task<Result> runOn(Queue& queue, Task<Result> task) {
    Queue* const caller = co_await currentQueue();
    const auto completion = std::make_shared<Completion<detail::Outcome<Result>>>(*caller);
    boost::asio::co_spawn(QueueExecutor(queue), detail::completeBy(completion, std::move(task)),
                          boost::asio::detached);
    const std::function<void()> cancelled = [] {};
    detail::Outcome<Result> outcome = co_await completion->wait(cancelled);
    if (const auto* failure = std::get_if<std::exception_ptr>(&outcome)) {
        std::rethrow_exception(*failure);
    }
    if constexpr (!std::is_void_v<Result>) {
        co_return std::get<0>(std::move(outcome));
    }
}

} // namespace dispatch
