// SPDX-License-Identifier: MIT
#include "platform/dispatch/TaskGroup.h"

#include "platform/dispatch/Check.h"

#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/system/system_error.hpp>

#include <utility>

namespace dispatch {
namespace {

/// Cancellation shows only where a task waits, as one type of exception.
Task<> runMember(Task<> task) {
    co_await boost::asio::this_coro::throw_if_cancelled(false);
    co_await boost::asio::post(boost::asio::use_awaitable); // out of the turn that starts it
    try {
        co_await std::move(task);
    } catch (const CancellationError&) {
    } catch (const boost::system::system_error& error) {
        // A cancelled socket operation says it in its own words.
        if (error.code() != boost::asio::error::operation_aborted)
            throw;
    }
}

const char* describe(const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const std::exception& error) {
        return error.what();
    } catch (...) {
        return "an exception of unknown type";
    }
}

} // namespace

TaskGroup::TaskGroup(Queue& queue) : queue_(queue), idle_(queue) {}

TaskGroup::~TaskGroup() {
    ORB_CHECK(members_.empty(), "{} tasks of queue \"{}\" outlive their owner", members_.size(),
              queue_.label());
}

void TaskGroup::spawn(Task<> task) {
    queue_.assertCurrent();
    const auto member = members_.emplace(members_.end());
    boost::asio::co_spawn(QueueExecutor(queue_), runMember(std::move(task)),
                          boost::asio::bind_cancellation_slot(
                              member->cancellation.slot(),
                              [this, member](const std::exception_ptr& failure) { ended(member, failure); }));
}

void TaskGroup::cancel() {
    queue_.assertCurrent();
    for (Member& member : members_)
        member.cancellation.emit(boost::asio::cancellation_type::terminal);
}

Task<> TaskGroup::drain() {
    cancel();
    while (!members_.empty())
        co_await idle_.wait(std::nullopt);
}

void TaskGroup::ended(std::list<Member>::iterator member, const std::exception_ptr& failure) {
    ORB_CHECK(!failure, "a task of queue \"{}\" failed: {}", queue_.label(), describe(failure));
    members_.erase(member);
    if (members_.empty())
        idle_.notify();
}

} // namespace dispatch
