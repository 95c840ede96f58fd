// SPDX-License-Identifier: MIT
#include "ORBRouteService/ORBMessagePort.h"

#include "ORBRouteService/ipc/IPCCancellationError.h"
#include "ORBRouteService/ipc/IPCError.h"
#include "ORBRouteService/ipc/ORBDeviceConnectionError.h"
#include "ORBRouteService/ipc/recordMessage.h"
#include "ORBRouteService/log/ORBDebugLog.h"
#include "ORBRouteService/picker/waiting/awaitCondition.h"

#include "platform/dispatch/runOn.h"

#include <fmt/format.h>
#include <boost/asio/this_coro.hpp>

#include <cstdio>
#include <utility>

namespace orb {
namespace {

using Code = ORBMessagePortError::Code;

/// Every message has this one; a receiver takes any.
constexpr std::int32_t messageID = 0;

std::exception_ptr failure(Code code) { return std::make_exception_ptr(ORBMessagePortError(code)); }

/// What a callout starts: nobody hears of it when the handling fails.
dispatch::Task<> handle(std::shared_ptr<ORBMessagePortHandler> handler, std::string data) {
    try {
        co_await handler->handleMessage(std::move(data));
    } catch (const std::exception&) {
        co_return;
    }
}

/// Of the error that the payload is, if it is one.
template <typename Error>
bool printError(std::string_view label, const foundation::JSONDocument& payload) {
    try {
        fmt::print("{}{}\n", label, payload.as<Error>().what());
        std::fflush(stdout);
        return true;
    } catch (const foundation::DecodingError&) {
        return false;
    }
}

/// What nobody asked for, if it is an error; anything else is dropped.
void printErrorOf(const foundation::Data& payload) {
    try {
        const foundation::JSONDocument document(payload.bytes);
        if (!printError<ORBDeviceConnectionError>("got ORBDeviceConnectionError error: ", document)) {
            printError<IPCError>("got IPC Error: ", document);
        }
    } catch (const foundation::DecodingError&) {
        return;
    }
}

} // namespace

const char* ORBMessagePortError::what() const noexcept {
    switch (code_) {
        case Code::remotePortTimedOut:
            return "remotePortTimedOut";
        case Code::noRemoteConnection:
            return "noRemoteConnection";
        case Code::messageTimeout:
            return "messageTimeout";
    }
    return "unknown";
}

std::shared_ptr<ORBMessagePort> ORBMessagePort::create(const ORBMessagePortContext& context,
                                                       std::string localPort, std::string remotePort,
                                                       DisconnectedHandler disconnected,
                                                       AnyRequestHandler callback) {
    auto port = std::unique_ptr<ORBMessagePort>(new ORBMessagePort(
        context, std::move(localPort), std::move(remotePort), std::move(disconnected), std::move(callback)));
    dispatch::Queue& main = context.realm.mainQueue();
    const auto destroyOnMain = [&main](ORBMessagePort* last) {
        std::unique_ptr<ORBMessagePort> owned(last);
        if (!main.isCurrent()) {
            main.async([owned = std::move(owned)]() mutable { owned.reset(); });
        }
    };
    std::shared_ptr<ORBMessagePort> shared(port.release(), destroyOnMain);
    shared->setupLocalPort();
    return shared;
}

ORBMessagePort::ORBMessagePort(const ORBMessagePortContext& context, std::string localPort,
                               std::string remotePort, DisconnectedHandler disconnected,
                               AnyRequestHandler callback)
    : context_(context),
      localPortName_(std::move(localPort)),
      remotePortName_(std::move(remotePort)),
      disconnected_(std::move(disconnected)),
      callback_(std::move(callback)) {}

ORBMessagePort::~ORBMessagePort() { invalidate(); }

void ORBMessagePort::invalidate() {
    mainQueue().assertCurrent();
    const auto keptUntilReturn = weak_from_this().lock(); // the local port may hold the last reference
    disconnected_ = nullptr;
    invalidated_ = true;
    if (localPort_) {
        runLoop_->sync([this] { localPort_.reset(); });
    }
    runLoop_.reset();
    remotePortObserver_ = {};
    if (remotePort_) {
        remotePort_->invalidate();
        remotePort_.reset();
    }
    std::unordered_map<foundation::UUID, PendingRequest> abandoned;
    AnyRequestHandler callback;
    callbackQueue_.sync([&] {
        callbackQueue_.assertCurrent();
        callbacks_.swap(abandoned);
        callback_.swap(callback);
    });
    for (const auto& [uuid, request] : abandoned) {
        request->complete(failure(Code::noRemoteConnection));
    }
}

void ORBMessagePort::setupLocalPort() {
    mainQueue().assertCurrent();
    if (localPort_) {
        return;
    }
    ORBDebugLog(0, "ORBMessagePort: Setting up local port name={}", localPortName_);
    invalidated_ = false;
    runLoop_ = context_.realm.makeQueue("ORBMessagePort");
    const auto box = std::make_shared<const ORBMessagePortBox>(shared_from_this());
    localPort_ = foundation::LocalMessagePort::create(
        *runLoop_, context_.runtimeDirectory, localPortName_,
        [box, &pool = context_.taskPool](std::int32_t, std::string data) {
            pool.start(handle(box->base, std::move(data)));
        },
        report());
    if (!localPort_) {
        runLoop_.reset();
    }
}

std::function<void(std::string)> ORBMessagePort::report() const {
    return [](const std::string& line) { ORBDebugLog(4, "ORBMessagePort: {}", line); };
}

dispatch::Task<> ORBMessagePort::setupRemotePort() {
    mainQueue().assertCurrent();
    const auto self = shared_from_this();
    if (invalidated_) {
        setupLocalPort();
    }
    ORBDebugLog(0, "{}: Setting up remote port", remotePortName_);
    const std::function<dispatch::Task<bool>()> isMissing = [this] { return findRemotePort(); };
    const WaitLimits limits{remotePortTimeout, remotePortInterval, "setupRemotePort()"};
    co_await awaitCondition(limits, isMissing);
    if (invalidated_) {
        co_return;
    }
    if (localPort_ && !remotePort_) { // the deadline was met to the nanosecond
        throw OperationTimeout(limits.operation);
    }
    requireRemotePort();
    watchRemotePort();
}

/// Whether it is worth while to look again.
dispatch::Task<bool> ORBMessagePort::findRemotePort() {
    remotePort_ = foundation::RemoteMessagePort::create(mainQueue(), context_.runtimeDirectory,
                                                        remotePortName_, report());
    co_return !invalidated_ && !remotePort_ && localPort_;
}

void ORBMessagePort::watchRemotePort() {
    const foundation::RemoteMessagePort* const remotePort = remotePort_.get();
    remotePortObserver_ =
        context_.notifications.observe(ORBRemotePortInvalidated, remotePort, nullptr,
                                       [weak = weak_from_this()](const foundation::Notification&) {
                                           if (const auto port = weak.lock()) {
                                               port->remotePortInvalidated();
                                           }
                                       });
    remotePort_->setInvalidationCallback([&notifications = context_.notifications, remotePort] {
        notifications.post(ORBRemotePortInvalidated, remotePort);
    });
}

void ORBMessagePort::remotePortInvalidated() {
    context_.taskPool.start(dispatch::runOn(mainQueue(), callDisconnected(weak_from_this())));
}

dispatch::Task<> ORBMessagePort::callDisconnected(std::weak_ptr<ORBMessagePort> port) {
    DisconnectedHandler disconnected;
    if (const auto existing = port.lock()) {
        disconnected = existing->disconnected_;
    }
    if (disconnected) {
        co_await disconnected();
    }
}

void ORBMessagePort::requireRemotePort() const {
    mainQueue().assertCurrent();
    if (!remotePort_) {
        throw ORBMessagePortError(Code::noRemoteConnection);
    }
}

void ORBMessagePort::sendEnvelope(const IPCMessage& envelope) {
    if (!remotePort_->isValid()) {
        ORBDebugLog(1, "Message port invalid");
        return;
    }
    mainQueue().async([self = shared_from_this(), remotePort = remotePort_, envelope] {
        if (remotePort->isValid()) {
            self->sendNow(envelope, *remotePort);
        }
    });
}

void ORBMessagePort::sendNow(const IPCMessage& envelope, foundation::RemoteMessagePort& remotePort) const {
    using Result = foundation::RemoteMessagePort::SendResult;
    const std::string data = foundation::encodeJSON(envelope);
    const Result result = remotePort.sendRequest(messageID, data);
    const bool failed = result != Result::success;
    if (recordMessage(MessageDirection::sent, envelope, failed) == MessageContent::error) {
        keepSnapshot();
    }
    if (result == Result::sendTimeout) {
        ORBDebugLog(1, "{}: message send timed out", description());
    } else if (result == Result::tooLarge) {
        ORBDebugLog(4, "{}: message of {} bytes is too large, not sent", description(), data.size());
    }
}

/// Of what led to an error that the parent is told. The main thread does not wait for the file.
void ORBMessagePort::keepSnapshot() const {
    context_.taskPool.queue().async([] {
        if (FlightRecorder* const recorder = flightRecorder()) {
            recorder->keepSnapshot();
        }
    });
}

dispatch::Task<foundation::Data> ORBMessagePort::request(IPCMessage envelope,
                                                         std::optional<dispatch::Seconds> timeout) {
    const auto self = shared_from_this();
    const foundation::UUID uuid = envelope.uuid();
    const auto pending = std::make_shared<dispatch::Completion<Outcome>>(mainQueue());
    callbackQueue_.sync([&] {
        callbackQueue_.assertCurrent();
        callbacks_[uuid] = pending;
    });
    const auto timeoutWork = scheduleTimeout(uuid, timeout);
    try {
        sendMessage(envelope);
    } catch (...) {
        completeRequest(uuid, std::current_exception());
    }
    const auto cancellation = co_await boost::asio::this_coro::cancellation_state;
    const std::function<void()> cancelled = [this, uuid] {
        completeRequest(uuid, foundation::Data{foundation::encodeJSON(IPCCancellationError{})});
    };
    if (cancellation.cancelled() != boost::asio::cancellation_type::none) {
        completeRequest(uuid, std::make_exception_ptr(dispatch::CancellationError()));
    }
    Outcome outcome = co_await pending->wait(cancelled);
    if (timeoutWork) {
        timeoutWork->cancel();
    }
    if (const auto* error = std::get_if<std::exception_ptr>(&outcome)) {
        std::rethrow_exception(*error);
    }
    co_return std::get<foundation::Data>(std::move(outcome));
}

std::shared_ptr<dispatch::DelayedWork> ORBMessagePort::scheduleTimeout(
    const foundation::UUID& uuid, std::optional<dispatch::Seconds> timeout) {
    if (!timeout) {
        return nullptr;
    }
    return context_.taskPool.queue().asyncAfter(
        dispatch::toNanoseconds(timeout->count()) + timeoutMargin, [weak = weak_from_this(), uuid] {
            if (const auto port = weak.lock()) {
                port->completeRequest(uuid, failure(Code::messageTimeout));
            }
        });
}

void ORBMessagePort::completeRequest(const foundation::UUID& uuid, Outcome result) {
    if (const PendingRequest pending = takeCallback(uuid)) {
        pending->complete(std::move(result));
    }
}

ORBMessagePort::PendingRequest ORBMessagePort::takeCallback(const foundation::UUID& uuid) {
    PendingRequest taken;
    callbackQueue_.sync([&] {
        callbackQueue_.assertCurrent();
        const auto found = callbacks_.find(uuid);
        if (found != callbacks_.end()) {
            taken = std::move(found->second);
            callbacks_.erase(found);
        }
    });
    return taken;
}

dispatch::Task<> ORBMessagePort::handleMessage(std::string data) {
    std::optional<IPCMessage> message;
    try {
        message = foundation::decodeJSON<IPCMessage>(data);
    } catch (const foundation::DecodingError& error) {
        reportFailure(error);
        co_return;
    }
    recordMessage(MessageDirection::received, *message);
    if (const PendingRequest pending = takeCallback(message->uuid())) {
        pending->complete(message->payload());
        co_return;
    }
    co_await handleRequest(std::move(*message));
}

dispatch::Task<> ORBMessagePort::handleRequest(IPCMessage message) {
    AnyRequestHandler callback;
    callbackQueue_.sync([&] {
        callbackQueue_.assertCurrent();
        callback = callback_;
    });
    try {
        std::optional<dispatch::Task<std::optional<IPCMessage>>> handling;
        if (callback) {
            handling = callback(message.payload());
        }
        std::optional<IPCMessage> answer;
        if (handling) {
            answer = co_await std::move(*handling);
        }
        if (answer) {
            reply(std::move(*answer), message.uuid());
            co_return;
        }
    } catch (const std::exception& error) {
        reportFailure(error);
        co_return;
    }
    printErrorOf(message.payload());
}

void ORBMessagePort::reply(IPCMessage answer, const foundation::UUID& request) {
    answer.setUUID(request);
    mainQueue().async([self = shared_from_this(), answer = std::move(answer)] {
        if (self->remotePort_) {
            self->sendEnvelope(answer);
        }
    });
}

/// A notice has an identifier of its own, so it completes no request of the other side. An invalidated port
/// is not revived for it.
void ORBMessagePort::reportFailure(const std::exception& error) {
    mainQueue().async([self = shared_from_this(), notice = IPCMessage::wrapping(IPCError(describe(error)))] {
        if (!self->invalidated_ && self->remotePort_) {
            self->sendMessage(notice);
        }
    });
}

std::string ORBMessagePort::description() const {
    return fmt::format("<ORBMessagePort {} -> {}>", localPortName_, remotePortName_);
}

} // namespace orb
