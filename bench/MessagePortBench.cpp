// SPDX-License-Identifier: MIT
#include "bench/BenchSupport.h"
#include "bench/CodingTimes.h"
#include "bench/LinkEnd.h"
#include "platform/dispatch/TaskGroup.h"
#include "platform/dispatch/real/RealRealm.h"
#include "platform/foundation/DescriptorWatch.h"

#include <array>
#include <memory>
#include <thread>

#include <fcntl.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>

// What the link with the parent costs: a request and its reply between two processes, against a bare socket
// between the same two; the coding of an envelope, against the copying of its bytes; and a request beside
// many that wait, against one beside none.
//
// The other process is this program again, with the argument --echo: it answers texts by themselves, and
// echoes two sockets byte by byte. All ways of a round are taken in turn within one iteration, so that what
// else the machine does falls on all alike; medians are compared, and the aim for the link is at most 5 times
// the bare socket.
//
//     bare        one thread on each side, blocking: two wake-ups of a sleeping thread a round
//     handed over one thread waits for the socket, another answers: four wake-ups
//     port        run loop -> task pool -> main queue on each side: six wake-ups
//
// What a round costs without any wake-up is in MessageCostBench.

namespace {

using bench::LinkEnd;
using bench::median;
using bench::QuietLog;
using dispatch::Task;
using foundation::FileDescriptor;

constexpr int bareSocket = 3; // of the echoing process
constexpr int queuedSocket = 4;

void sendAll(int socket, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t size = send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (size < 0 && errno == EAGAIN) // the other side reads: there is room soon
            continue;
        if (size <= 0)
            throw std::system_error(errno, std::generic_category(), "send");
        bytes.remove_prefix(static_cast<std::size_t>(size));
    }
}

/// Says when the port is open, and again when it has found the other one: before, a reply would be lost.
Task<> announce(LinkEnd& end) {
    end.open();
    sendAll(bareSocket, "o");
    co_await end.connect();
    sendAll(bareSocket, "c");
}

/// The process of the other end, until the bare socket ends.
int echo(const char* directory) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const QuietLog quiet;
    dispatch::RealRealm realm;
    LinkEnd end(realm, directory, "parent", "service");
    const auto answering = realm.makeQueue("answering");
    const auto reading = realm.makeQueue("reading");
    const foundation::DescriptorWatch watch(*reading, FileDescriptor(queuedSocket), [&](int socket) {
        std::string bytes(std::size_t{256} * 1024, '\0');
        const ssize_t size = recv(socket, bytes.data(), bytes.size(), MSG_DONTWAIT);
        if (size > 0) {
            bytes.resize(static_cast<std::size_t>(size));
            answering->async([socket, bytes = std::move(bytes)] { sendAll(socket, bytes); });
        }
    });
    std::thread bare([&realm] {
        std::vector<char> bytes(std::size_t{256} * 1024);
        ssize_t size = 0;
        while ((size = recv(bareSocket, bytes.data(), bytes.size(), 0)) > 0)
            sendAll(bareSocket, {bytes.data(), static_cast<std::size_t>(size)});
        realm.stop();
    });
    dispatch::TaskGroup tasks(realm.mainQueue());
    realm.mainQueue().async([&] { tasks.spawn(announce(end)); });
    realm.run();
    bare.join();
    _exit(0); // the parent has closed everything; there is nothing to put in order
}

struct SocketPair {
    SocketPair() {
        int ends[2];
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
            throw std::system_error(errno, std::generic_category(), "socketpair");
        ours = FileDescriptor(ends[0]);
        theirs = FileDescriptor(ends[1]);
    }
    FileDescriptor ours;
    FileDescriptor theirs;
};

/// The echoing process; ends with this.
class EchoProcess {
  public:
    explicit EchoProcess(std::string directory) {
        // Out of the way of the numbers that they get in the other process.
        const FileDescriptor bareEnd(fcntl(bare_.theirs.get(), F_DUPFD_CLOEXEC, 10));
        const FileDescriptor queuedEnd(fcntl(queued_.theirs.get(), F_DUPFD_CLOEXEC, 10));
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, bareEnd.get(), bareSocket);
        posix_spawn_file_actions_adddup2(&actions, queuedEnd.get(), queuedSocket);
        std::string program = std::filesystem::read_symlink("/proc/self/exe");
        std::string role = "--echo";
        char* const arguments[] = {program.data(), role.data(), directory.data(), nullptr};
        const int error = posix_spawn(&process_, program.c_str(), &actions, nullptr, arguments, environ);
        posix_spawn_file_actions_destroy(&actions);
        if (error != 0)
            throw std::system_error(error, std::generic_category(), program);
        bare_.theirs.reset();
        queued_.theirs.reset();
        awaitAnnouncement();
    }
    ~EchoProcess() {
        bare_.ours.reset();
        waitpid(process_, nullptr, 0);
    }
    EchoProcess(const EchoProcess&) = delete;
    EchoProcess& operator=(const EchoProcess&) = delete;

    void awaitAnnouncement() const {
        char announced = 0;
        if (recv(bare(), &announced, 1, 0) != 1)
            throw std::runtime_error("the echoing process does not start");
    }

    int bare() const { return bare_.ours.get(); }
    FileDescriptor takeQueued() { return std::move(queued_.ours); }

  private:
    SocketPair bare_;
    SocketPair queued_;
    pid_t process_ = -1;
};

/// A text whose envelope, with what frames it on the socket, is what the bare sockets carry.
struct Payload {
    explicit Payload(std::int64_t size)
        : text(static_cast<std::size_t>(size), 'x'),
          bytes(foundation::encodeJSON(orb::IPCMessage::wrapping(text)) + "framing!") {}

    const std::string text;
    const std::string bytes;
};

/// This process's side of the rounds.
class RoundTrips {
  public:
    /// Times of rounds on each way, ns.
    struct Times {
        std::vector<double> bare;
        std::vector<double> handedOver;
        std::vector<double> port;
        std::vector<double> portWithTimeout;
    };

    static constexpr int roundsInARow = 20;

    RoundTrips() {
        run([this] {
            end_.open();
            return end_.connect();
        });
        process_.awaitAnnouncement();
    }
    ~RoundTrips() {
        run([this] { return end_.close(); });
    }
    RoundTrips(const RoundTrips&) = delete;
    RoundTrips& operator=(const RoundTrips&) = delete;

    /// Adds `roundsInARow` of each way.
    void take(const Payload& payload, Times& times) {
        run([&] { return takeEach(payload, times); });
    }

  private:
    template <typename Start>
    void run(Start start) {
        realm_.mainQueue().async([&] { tasks_.spawn(thenStop(start())); });
        realm_.run();
    }
    Task<> thenStop(Task<> task) {
        co_await std::move(task);
        realm_.mainQueue().async([this] { realm_.stop(); });
    }

    double now() const { return static_cast<double>(realm_.clock().now().time_since_epoch().count()); }

    Task<> takeEach(const Payload& payload, Times& times) {
        for (int round = 0; round < roundsInARow; ++round) {
            const double begin = now();
            echoBare(payload.bytes);
            times.bare.push_back(now() - begin);
        }
        for (int round = 0; round < roundsInARow; ++round) {
            const double begin = now();
            co_await echoHandedOver(payload.bytes);
            times.handedOver.push_back(now() - begin);
        }
        for (int round = 0; round < roundsInARow; ++round) {
            const double begin = now();
            std::string text = payload.text;
            co_await end_.port().sendMessage<std::string>(std::move(text), std::nullopt);
            times.port.push_back(now() - begin);
        }
        const std::optional<dispatch::Seconds> timeout(10);
        for (int round = 0; round < roundsInARow; ++round) {
            const double begin = now();
            std::string text = payload.text;
            co_await end_.port().sendMessage<std::string>(std::move(text), timeout);
            times.portWithTimeout.push_back(now() - begin);
        }
    }

    Task<> echoHandedOver(const std::string& bytes) {
        const std::function<void()> cancelled = [] {};
        awaited_ = bytes.size();
        echoed_ = std::make_shared<dispatch::Completion<std::size_t>>(realm_.mainQueue());
        sendAll(queuedDescriptor_, bytes);
        co_await echoed_->wait(cancelled);
    }

    void echoBare(const std::string& bytes) {
        sendAll(process_.bare(), bytes);
        for (std::size_t received = 0; received < bytes.size();) {
            const ssize_t size = recv(process_.bare(), buffer_.data(), buffer_.size(), 0);
            if (size <= 0)
                throw std::runtime_error("the echoing process has gone");
            received += static_cast<std::size_t>(size);
        }
    }

    /// On the queue `reading_`; `awaited_` and `echoed_` are set while nothing is on its way.
    void readEchoed(int socket) {
        const ssize_t size = recv(socket, queuedBuffer_.data(), queuedBuffer_.size(), MSG_DONTWAIT);
        if (size <= 0)
            return;
        awaited_ -= static_cast<std::size_t>(size);
        if (awaited_ == 0)
            echoed_->complete(0);
    }

    const QuietLog quiet_;
    const bench::TemporaryDirectory directory_;
    EchoProcess process_{directory_.path()};
    dispatch::RealRealm realm_;
    dispatch::TaskGroup tasks_{realm_.mainQueue()};
    LinkEnd end_{realm_, directory_.path(), "service", "parent"};
    std::array<char, std::size_t{256} * 1024> buffer_{};
    std::array<char, std::size_t{256} * 1024> queuedBuffer_{};
    std::size_t awaited_ = 0;
    std::shared_ptr<dispatch::Completion<std::size_t>> echoed_;
    const std::unique_ptr<dispatch::Queue> reading_ = realm_.makeQueue("reading");
    FileDescriptor queued_ = process_.takeQueued();
    const int queuedDescriptor_ = queued_.get();
    foundation::DescriptorWatch watch_{*reading_, std::move(queued_),
                                       [this](int socket) { readEchoed(socket); }};
};

/// The argument: bytes of the text that is sent and comes back.
void roundTrip(benchmark::State& state) {
    const Payload payload(state.range(0));
    const auto trips = std::make_unique<RoundTrips>();
    RoundTrips::Times times;
    trips->take(payload, times);
    times = {};
    for (auto _ : state) {
        trips->take(payload, times);
        state.SetIterationTime(times.port.back() * 1e-9);
    }
    const bench::CodingTimes coding = bench::timeCoding(orb::IPCMessage::wrapping(payload.text));
    state.counters["bareNanoseconds"] = median(times.bare);
    state.counters["handedOverNanoseconds"] = median(times.handedOver);
    state.counters["portNanoseconds"] = median(times.port);
    state.counters["portWithTimeoutNanoseconds"] = median(times.portWithTimeout);
    state.counters["codingNanoseconds"] = 2 * (coding.encode + coding.decode);
    state.counters["portToBare"] = median(times.port) / median(times.bare);
    state.counters["handedOverToBare"] = median(times.handedOver) / median(times.bare);
    state.counters["portToHandedOver"] = median(times.port) / median(times.handedOver);
}
BENCHMARK(roundTrip)->ArgName("bytes")->Arg(32)->Arg(1024)->Arg(65536)->UseManualTime()->Iterations(150);

} // namespace

int main(int argc, char** argv) {
    if (argc == 3 && std::string_view(argv[1]) == "--echo")
        return echo(argv[2]);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
