// SPDX-License-Identifier: MIT
#include "platform/foundation/DescriptorWatch.h"
#include "tests/ORBRouteService/port/PortEnd.h"
#include "tests/support/endWithParent.h"

#include <unistd.h>

#include <cstdio>
#include <optional>
#include <sstream>

// The other process of PortProcessTest: port_peer DIRECTORY LOCAL REMOTE
//
// Says "open", or "deaf" when it does not have its local port, and obeys the lines of its standard input
// until that ends:
//
//   connect                     says "connected", or why not
//   ask TEXT                    says the answer, or why there is none
//   burst SENDER COUNT PADDING  says, when all have left, "accepted N"
//   await SENDER COUNT          says, when as many have come, "received N disorderly N last N"

namespace orb::test {
namespace {

void say(const std::string& line) {
    std::puts(line.c_str());
    std::fflush(stdout);
}

class Peer {
  public:
    explicit Peer(char** names) : end_(names[0], names[1], names[2]) {}

    void run() {
        foundation::DescriptorWatch orders(end_.realm.mainQueue(),
                                           foundation::FileDescriptor(dup(STDIN_FILENO)),
                                           [this](int descriptor) { hear(descriptor); });
        end_.onChange = [this] { sayWhatIsAwaited(); };
        say(end_.port->hasLocalPort() ? "open" : "deaf");
        end_.realm.run();
    }

  private:
    void hear(int descriptor) {
        char bytes[4096];
        const ssize_t size = read(descriptor, bytes, sizeof bytes);
        if (size < 0) { // woken for nothing
            return;
        }
        if (size == 0) {
            return end_.realm.stop();
        }
        for (const char byte : std::string_view(bytes, static_cast<std::size_t>(size))) {
            if (byte == '\n') {
                obey(std::exchange(line_, {}));
            } else {
                line_ += byte;
            }
        }
    }

    void obey(const std::string& line) {
        std::istringstream words(line);
        std::string order, argument;
        words >> order >> argument;
        if (order == "connect") {
            end_.tasks.spawn(sayOutcome(end_.connect()));
        } else if (order == "ask") {
            end_.tasks.spawn(sayOutcome(end_.ask(argument)));
        } else if (order == "burst") {
            int count = 0;
            std::size_t padding = 0;
            words >> count >> padding;
            burst(argument, count, padding);
        } else if (order == "await") {
            awaited_.emplace(Awaited{argument, 0});
            words >> awaited_->count;
            sayWhatIsAwaited();
        }
    }

    Task<> sayOutcome(Task<std::string> task) {
        const std::string outcome = co_await std::move(task);
        say(outcome);
    }

    void burst(const std::string& sender, int count, std::size_t padding) {
        const std::size_t lostBefore = end_.lost();
        end_.burst(sender, count, padding);
        end_.realm.mainQueue().async([this, count, lostBefore] {
            say(fmt::format("accepted {}", static_cast<std::size_t>(count) + lostBefore - end_.lost()));
        });
    }

    void sayWhatIsAwaited() {
        if (awaited_ && end_.tallies[awaited_->sender].received >= awaited_->count) {
            const Tally& tally = end_.tallies[awaited_->sender];
            say(fmt::format("received {} disorderly {} last {}", tally.received, tally.disorderly,
                            tally.last));
            awaited_.reset();
        }
    }

    struct Awaited {
        std::string sender;
        std::size_t count = 0;
    };

    PortEnd end_;
    std::string line_;
    std::optional<Awaited> awaited_;
};

} // namespace
} // namespace orb::test

int main(int argc, char** argv) {
    support::endWithParent();
    if (argc != 4) {
        return 2;
    }
    orb::test::Peer(argv + 1).run();
    return 0;
}
