// SPDX-License-Identifier: MIT
#pragma once

#include "ORBRouteService/ipc/IPCMessage.h"
#include "ORBRouteService/ipc/ReplyInterpretation.h"

#include "platform/dispatch/Completion.h"
#include "platform/dispatch/SyncQueue.h"
#include "platform/dispatch/TaskPool.h"
#include "platform/foundation/NotificationCenter.h"
#include "platform/foundation/coding/TaggedUnion.h"
#include "platform/foundation/ports/LocalMessagePort.h"
#include "platform/foundation/ports/RemoteMessagePort.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <unordered_map>
#include <utility>
#include <variant>

namespace orb {

/// The remote port went. In the process, with the dead `RemoteMessagePort` as object.
inline constexpr const char* ORBRemotePortInvalidated = "ORBRemotePortInvalidated";

/// What goes wrong with the link itself.
class ORBMessagePortError final : public std::exception {
  public:
    enum class Code { remotePortTimedOut, noRemoteConnection, messageTimeout };

    explicit ORBMessagePortError(Code code) : code_(code) {}

    Code code() const { return code_; }
    const char* what() const noexcept override; // the code's name
    bool operator==(const ORBMessagePortError& other) const { return code_ == other.code_; }

  private:
    Code code_;
};

/// Who takes what arrives at a local port.
class ORBMessagePortHandler {
  public:
    virtual ~ORBMessagePortHandler() = default;

    /// `data` is the JSON text of one envelope. A task of the pool.
    virtual dispatch::Task<> handleMessage(std::string data) = 0;
};

/// The handler as a local port's callout holds it. Lives until the local port is invalidated.
struct ORBMessagePortBox {
    const std::shared_ptr<ORBMessagePortHandler> base;
};

/// What a message port works with; all outlive it.
struct ORBMessagePortContext {
    dispatch::Realm& realm;
    dispatch::TaskPool& taskPool;
    foundation::NotificationCenter& notifications; // the process's default centre
    const foundation::RuntimeDirectory& runtimeDirectory;
};

/// One end of the two-way link between the parent application and the service: a local port on which it
/// receives and the other side's port to which it sends. Every message is one-way; a reply is a message that
/// bears the request's identifier.
///
///     local port's run loop --data--> task of the pool: reply? request? notice? --main queue--> other side's
///     port
///
/// Owned by the main queue, where all operations are called, shared with what is under way; destroyed there,
/// whoever lets go last. The local port holds it until `invalidate()`.
class ORBMessagePort final : public ORBMessagePortHandler,
                             public std::enable_shared_from_this<ORBMessagePort> {
  public:
    /// Answers a request, with an envelope of its own (the port gives it the request's identifier), or with
    /// nothing. A task of the pool. What it throws is told to the other side as a notice, which answers no
    /// request.
    template <typename Incoming>
    using RequestHandler = std::function<dispatch::Task<std::optional<IPCMessage>>(Incoming)>;

    /// Runs on the main queue when the other side's port has gone.
    using DisconnectedHandler = std::function<dispatch::Task<>()>;

    static constexpr dispatch::Seconds remotePortTimeout{30.0};
    static constexpr dispatch::Seconds remotePortInterval{0.1};

    /// How long after its time-out a request fails.
    static constexpr std::chrono::milliseconds timeoutMargin{100};

    /// Serves the local port, if its name is free. `Incoming` is the type of message that this end is sent.
    template <typename Incoming>
    static std::shared_ptr<ORBMessagePort> create(const ORBMessagePortContext& context, std::string localPort,
                                                  std::string remotePort, DisconnectedHandler disconnected,
                                                  RequestHandler<Incoming> callback) {
        return create(context, std::move(localPort), std::move(remotePort), std::move(disconnected),
                      decoding<Incoming>(std::move(callback)));
    }
    ~ORBMessagePort() override;

    /// Closes both ports, ends the thread, drops the handlers; requests that wait fail with
    /// `noRemoteConnection`.
    void invalidate();

    /// Does nothing when the local port is there. Without one afterwards (its name is in use, say), nothing
    /// is received; the log says why.
    void setupLocalPort();

    /// Looks for the other side's port for up to `remotePortTimeout`. Throws `OperationTimeout`,
    /// `CancellationError`, and `noRemoteConnection` when the local port is missing and the other side's was
    /// not found either.
    dispatch::Task<> setupRemotePort();

    /// A message is sent as the tagged union that it belongs to: a case by itself would be coded without its
    /// name.
    template <typename Payload>
    static constexpr bool isWholeMessage = !foundation::TaggedCase<Payload>;

    /// Sends a notification, an `IPCMessage` unchanged. Throws `noRemoteConnection`; whether it arrives is
    /// not told.
    template <typename Payload>
        requires isWholeMessage<Payload>
    void sendMessage(const Payload& payload) {
        setupLocalPort();
        requireRemotePort();
        sendEnvelope(envelopeOf(payload));
    }

    /// Sends a request and awaits its reply; without `timeout`, for ever. Throws `noRemoteConnection`,
    /// `messageTimeout` (`timeoutMargin` after the time-out), `CancellationError`, and the error that the
    /// reply is.
    template <typename Reply, typename Payload>
        requires isWholeMessage<Payload>
    dispatch::Task<Reply> sendMessage(Payload payload, std::optional<dispatch::Seconds> timeout) {
        requireRemotePort();
        const foundation::Data reply = co_await request(envelopeOf(payload), timeout);
        co_return interpretReply<Reply>(reply);
    }

    dispatch::Task<> handleMessage(std::string data) override;

    bool hasLocalPort() const { return localPort_ != nullptr; }
    bool hasRemotePort() const { return remotePort_ != nullptr; }

    /// "<ORBMessagePort " and both names.
    std::string description() const;

  private:
    /// A reply's payload, or why there is none.
    using Outcome = std::variant<foundation::Data, std::exception_ptr>;
    using PendingRequest = std::shared_ptr<dispatch::Completion<Outcome>>;

    /// Nothing when the payload is not of this end's incoming type.
    using AnyRequestHandler =
        std::function<std::optional<dispatch::Task<std::optional<IPCMessage>>>(const foundation::Data&)>;

    template <typename Incoming>
    static AnyRequestHandler decoding(RequestHandler<Incoming> callback) {
        return
            [callback = std::move(callback)](
                const foundation::Data& payload) -> std::optional<dispatch::Task<std::optional<IPCMessage>>> {
                std::optional<Incoming> message;
                try {
                    message.emplace(foundation::decodeJSON<Incoming>(payload.bytes));
                } catch (const foundation::DecodingError&) {
                    return std::nullopt;
                }
                return callback(std::move(*message));
            };
    }

    static std::shared_ptr<ORBMessagePort> create(const ORBMessagePortContext& context, std::string localPort,
                                                  std::string remotePort, DisconnectedHandler disconnected,
                                                  AnyRequestHandler callback);
    ORBMessagePort(const ORBMessagePortContext& context, std::string localPort, std::string remotePort,
                   DisconnectedHandler disconnected, AnyRequestHandler callback);

    template <typename Payload>
    static IPCMessage envelopeOf(const Payload& payload) {
        if constexpr (std::is_same_v<Payload, IPCMessage>)
            return payload;
        else
            return IPCMessage::wrapping(payload);
    }

    dispatch::Queue& mainQueue() const { return context_.realm.mainQueue(); }
    std::function<void(std::string)> report() const;
    dispatch::Task<bool> findRemotePort();
    void watchRemotePort();
    void remotePortInvalidated();
    static dispatch::Task<> callDisconnected(std::weak_ptr<ORBMessagePort> port);

    void requireRemotePort() const;
    void sendEnvelope(const IPCMessage& envelope);
    void sendNow(const IPCMessage& envelope, foundation::RemoteMessagePort& remotePort) const;
    void keepSnapshot() const;
    dispatch::Task<foundation::Data> request(IPCMessage envelope, std::optional<dispatch::Seconds> timeout);
    std::shared_ptr<dispatch::DelayedWork> scheduleTimeout(const foundation::UUID& uuid,
                                                           std::optional<dispatch::Seconds> timeout);
    void completeRequest(const foundation::UUID& uuid, Outcome result);
    PendingRequest takeCallback(const foundation::UUID& uuid);

    dispatch::Task<> handleRequest(IPCMessage message);
    void reply(IPCMessage answer, const foundation::UUID& request);
    void reportFailure(const std::exception& error);

    const ORBMessagePortContext context_;
    const std::string localPortName_;
    const std::string remotePortName_;

    std::unique_ptr<dispatch::Queue> runLoop_; // this to `disconnected_`: of the main queue
    std::unique_ptr<foundation::LocalMessagePort> localPort_;
    std::shared_ptr<foundation::RemoteMessagePort> remotePort_;
    foundation::Subscription remotePortObserver_;
    bool invalidated_ = false;
    DisconnectedHandler disconnected_;

    dispatch::SyncQueue callbackQueue_{"CallbackQueue"};
    AnyRequestHandler callback_ ORB_GUARDED_BY(callbackQueue_);
    std::unordered_map<foundation::UUID, PendingRequest> callbacks_ ORB_GUARDED_BY(callbackQueue_);
};

} // namespace orb
