// SPDX-License-Identifier: MIT
#include "bench/BenchSupport.h"
#include "bench/CodingTimes.h"
#include "bench/LinkEnd.h"
#include "platform/dispatch/TaskGroup.h"
#include "platform/dispatch/virtual/VirtualRealm.h"

#include <optional>
#include <string>
#include <vector>

// What the link with the parent costs by itself: the coding of an envelope, against the copying of its bytes;
// and a request and its reply, and a message that nobody answers, with both ends on one thread in virtual
// time, so without the wake-up of any thread. A request beside many that wait should cost what it does beside
// one; the cases are taken in turn, so that what else the machine does falls on all alike, and medians are
// compared.

namespace {

using bench::LinkEnd;
using bench::median;

/// The argument: bytes of the payload.
void envelope(benchmark::State& state) {
    const std::string text(static_cast<std::size_t>(state.range(0)), 'x');
    const orb::IPCMessage message = orb::IPCMessage::wrapping(text);
    bench::CodingTimes times;
    for (auto _ : state) {
        times = bench::timeCoding(message);
        state.SetIterationTime((times.encode + times.decode) * 1e-9);
    }
    const auto bytes = static_cast<double>(foundation::encodeJSON(message).size());
    state.counters["encodeNanoseconds"] = times.encode;
    state.counters["decodeNanoseconds"] = times.decode;
    state.counters["encodedBytes"] = bytes;
    state.counters["encodeMegabytesPerSecond"] = bytes / times.encode * 1e3;
    state.counters["decodeMegabytesPerSecond"] = bytes / times.decode * 1e3;
    state.counters["codingToCopying"] = (times.encode + times.decode) / times.copy;
}
BENCHMARK(envelope)->ArgName("bytes")->Arg(32)->Arg(1024)->Arg(65536)->UseManualTime()->Iterations(1);

/// Both ends of a link on one thread, in virtual time, which need not pass.
class OneThreadLink {
  public:
    OneThreadLink() {
        run([this] {
            service_.open();
            parent_.open();
            tasks_.spawn(service_.connect());
            tasks_.spawn(parent_.connect());
        });
    }
    ~OneThreadLink() {
        run([this] {
            tasks_.spawn(service_.close());
            tasks_.spawn(parent_.close());
        });
    }
    OneThreadLink(const OneThreadLink&) = delete;
    OneThreadLink& operator=(const OneThreadLink&) = delete;

    /// Requests that get no reply; those for which the queue has no room are never read.
    void hold(std::int64_t count) {
        run([this, count] {
            for (std::int64_t number = 0; number < count; ++number)
                tasks_.spawn(ask("hold"));
        });
    }
    void roundTrip() {
        const int before = replies_;
        run([this] { tasks_.spawn(ask("hello")); });
        if (replies_ != before + 1)
            throw std::runtime_error("no reply");
    }
    void notice(const std::string& text) {
        run([this, &text] { service_.port().sendMessage(text); });
    }

  private:
    template <typename Work>
    void run(Work work) {
        realm_.mainQueue().sync(work);
        realm_.settle();
    }

    dispatch::Task<> ask(std::string text) {
        try {
            co_await service_.port().sendMessage<std::string>(std::move(text), std::nullopt);
            ++replies_;
        } catch (const orb::ORBMessagePortError&) { // the link was taken down
        }
    }

    const bench::QuietLog quiet_;
    const bench::TemporaryDirectory directory_;
    dispatch::VirtualRealm realm_;
    dispatch::TaskGroup tasks_{realm_.mainQueue()};
    LinkEnd service_{realm_, directory_.path(), "service", "parent"};
    LinkEnd parent_{realm_, directory_.path(), "parent", "service"};
    int replies_ = 0;
};

/// What a request and its reply cost beside one, a thousand and a hundred thousand that wait.
void requestBesideOthers(benchmark::State& state) {
    const bench::Stopwatch stopwatch;
    OneThreadLink one, thousand, hundredThousand;
    one.hold(1);
    thousand.hold(1000);
    hundredThousand.hold(100'000);
    std::vector<double> besideOne, besideThousand, besideHundredThousand;
    for (auto _ : state) {
        besideOne.push_back(stopwatch.time([&] { one.roundTrip(); }));
        besideThousand.push_back(stopwatch.time([&] { thousand.roundTrip(); }));
        besideHundredThousand.push_back(stopwatch.time([&] { hundredThousand.roundTrip(); }));
        state.SetIterationTime(besideOne.back() * 1e-9);
    }
    state.counters["nanoseconds"] = median(besideOne);
    state.counters["thousandToOne"] = median(besideThousand) / median(besideOne);
    state.counters["hundredThousandToOne"] = median(besideHundredThousand) / median(besideOne);
}
BENCHMARK(requestBesideOthers)->UseManualTime()->Iterations(5000);

/// A message that nobody answers, sent and handled.
void notice(benchmark::State& state) {
    const bench::Stopwatch stopwatch;
    OneThreadLink link;
    std::vector<double> times;
    for (auto _ : state) {
        times.push_back(stopwatch.time([&] { link.notice("hold"); }));
        state.SetIterationTime(times.back() * 1e-9);
    }
    state.counters["nanoseconds"] = median(times);
}
BENCHMARK(notice)->UseManualTime()->Iterations(5000);

} // namespace
