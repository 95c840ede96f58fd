// SPDX-License-Identifier: MIT
#include "ORBRouteService/audio/ORBMirrorDevice.h"
#include "ORBRouteService/bridges/AVOutputContextBridge.h"
#include "bench/BenchSupport.h"
#include "platform/airplay/RoutePlayout.h"
#include "platform/dispatch/virtual/VirtualRealm.h"
#include "platform/foundation/SharedInstance.h"
#include "platform/lmn/embedded/PlayerRoster.h"

#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <vector>

#include <unistd.h>

// What one period of the mirror device costs, as a share of the period; the aim is at most 0.05 % of it on
// one core. And what a receiver more costs in the playout, against the copying of its bytes.
//
// The device runs on virtual time. Two participants of the pacer, one before the tap and one behind the
// session runner, read the real clock: between them lies what a period does on the IO and the render queue,
// and nothing of the realm's timers and queues, of the feeding loop or of the playout. Left out is what only
// threads cost: the runner's cycle is a plain call here, two thread switches in a real run. The cost of
// reading the clock is told, not subtracted. Floors are measured in the same periods, right behind, so that
// what else the machine does falls on both alike; medians are compared.

namespace {

using Samples = std::vector<float>;

constexpr std::uint32_t periodFrames = 512;
constexpr double rate = 44100;
constexpr double periodNanoseconds = periodFrames / rate * 1e9;
constexpr std::size_t periodSamples = std::size_t{periodFrames} * 2;
constexpr std::size_t periodsPerChunk = orb::ORBManager::fixedRenderChunkSize / periodFrames;
constexpr std::int64_t measuredPeriods = 2000 * periodsPerChunk;
constexpr std::int64_t measuredSteps = 4000;

using bench::median;
using bench::Stopwatch;
using bench::TemporaryDirectory;

/// A receiver that keeps the last step in memory.
class CopyingReceiver final : public airplay::Receiver {
  public:
    explicit CopyingReceiver(int number)
        : description_(std::make_shared<airplay::ReceiverDescription>(
              airplay::ReceiverDescription{.name = fmt::format("Receiver {}", number),
                                           .identifier = fmt::format("A1:B2:C3:D4:E5:{:02X}", number),
                                           .txt = {},
                                           .row = {}})) {}

    std::shared_ptr<const airplay::ReceiverDescription> description() const override { return description_; }
    float volume() const noexcept override { return 1; }
    void setVolume(float) override {}
    foundation::Subscription observeVolume(std::function<void(float)>) override { return {}; }
    std::unique_ptr<airplay::ReceiverConnection> connect(airplay::ReceiverConnectionDelegate&) override {
        return nullptr; // receivers are put onto the route directly
    }
    std::unique_ptr<airplay::ReceiverOutput> open(const airplay::FrameGrid&) override {
        return std::make_unique<Output>();
    }

  private:
    class Output final : public airplay::ReceiverOutput {
      public:
        void play(std::span<const float> frames, airplay::FrameIndex) noexcept override {
            std::ranges::copy(frames, last_.begin());
        }
        void silenceUntil(airplay::FrameIndex) noexcept override {}
        void finish(airplay::FrameIndex) noexcept override {}

      private:
        Samples last_ = Samples(airplay::RoutePlayout::stepFrames * airplay::channelCount);
    };

    const std::shared_ptr<const airplay::ReceiverDescription> description_;
};

std::vector<std::shared_ptr<CopyingReceiver>> makeReceivers(std::int64_t count) {
    std::vector<std::shared_ptr<CopyingReceiver>> receivers;
    receivers.reserve(static_cast<std::size_t>(count));
    for (int number = 0; number < count; ++number)
        receivers.push_back(std::make_shared<CopyingReceiver>(number));
    return receivers;
}

class RosterServer final : public lmn::AudioServer {
  public:
    explicit RosterServer(std::shared_ptr<lmn::PlayerRoster> roster) : roster_(std::move(roster)) {}
    std::shared_ptr<lmn::ServedDevice> serve(const std::shared_ptr<lmn::LMNDevice>&) override {
        return roster_;
    }

  private:
    const std::shared_ptr<lmn::PlayerRoster> roster_;
};

class Stamp final : public lmn::PacedIO {
  public:
    explicit Stamp(std::function<void()> take) : take_(std::move(take)) {}
    bool perform(std::uint64_t, dispatch::HostTime) override {
        take_();
        return true;
    }

  private:
    const std::function<void()> take_;
};

/// The least that carries a period's sound: copy its frames out of the player's, and add them into the
/// chunk's.
class Floor {
  public:
    void carry() {
        std::ranges::copy(player_, captured_.begin());
        lmn::mixInto(rendered_, captured_);
    }

  private:
    Samples player_ = Samples(periodSamples, 0.25F);
    Samples captured_ = Samples(periodSamples);
    Samples rendered_ = Samples(periodSamples);
};

/// A mirror device with one player and some receivers, on virtual time. Everything on its one thread.
class MirrorWorld {
  public:
    explicit MirrorWorld(std::int64_t receivers);
    ~MirrorWorld();

    /// What was measured in a period; times in ns.
    struct Period {
        double begin = 0;
        double cycle = 0;
        double clock = 0; // one reading of it
        double floor = 0;
        bool chunkFinished = false;
    };

    /// Lets a period pass.
    const Period& passPeriod();

  private:
    void startPlayer();
    void addStamps();

    const Stopwatch stopwatch_;
    dispatch::VirtualRealm realm_;
    const TemporaryDirectory directory_;
    const foundation::RuntimeDirectory runtime_{directory_.path() / "run"};
    foundation::NotificationCenter notifications_;
    foundation::DistributedNotificationCenter distributed_{realm_.mainQueue(), runtime_, [](const auto&) {}};
    const std::unique_ptr<orb::ORBUserDefaults> defaults_ =
        orb::ORBUserDefaults::create({.queue = realm_.mainQueue(),
                                      .notificationCenter = notifications_,
                                      .configDirectory = directory_.path() / "config",
                                      .report = [](const auto&) {}});
    orb::ORBManager manager_{{.mainQueue = realm_.mainQueue(),
                              .notifications = notifications_,
                              .distributedNotifications = distributed_,
                              .defaults = *defaults_}};
    lmn::LMNDeviceManager devices_{runtime_, realm_.mainQueue()};
    const foundation::SharedInstance<lmn::LMNDeviceManager> sharedDevices_{devices_};
    const std::shared_ptr<lmn::LMNDevice> device_ = devices_.deviceFromArchive(
        devices_.archiveFromConfig({.name = "bench", .deviceUID = "bench"}, false));
    const std::unique_ptr<dispatch::Queue> serverQueue_ = realm_.makeQueue("server");
    const std::shared_ptr<lmn::PlayerRoster> roster_ =
        std::make_shared<lmn::PlayerRoster>(device_, *serverQueue_);
    RosterServer server_{roster_};
    lmn::LMNSystem lmn_{realm_, devices_, server_};
    airplay::PlaybackSystem playback_{realm_, [](const auto&) {}};
    std::shared_ptr<avfoundation::AVOutputContext> context_ =
        std::make_shared<avfoundation::AVOutputContext>(playback_, notifications_);
    foundation::Subscription devicesChanged_;
    std::shared_ptr<orb::ORBMirrorDevice> mirror_;
    lmn::PlayerVoice* voice_ = nullptr;
    const Samples played_ = Samples(periodSamples, 0.25F);
    Floor floor_;
    Period period_;
};

MirrorWorld::MirrorWorld(std::int64_t receivers) {
    realm_.mainQueue().sync([&] {
        context_->setApplicationProcessID(::getpid());
        mirror_ = orb::ORBMirrorDevice::create(
            {.lmn = lmn_,
             .playback = playback_,
             .notifications = notifications_,
             .manager = manager_,
             .tapActivity = std::make_shared<orb::TapIOActivity>(realm_.mainQueue()),
             .lastPause = [] { return dispatch::distantPast; },
             .reexamineRenderState = [] {},
             .enqueueObserver =
                 [this](const avfoundation::EnqueuedBuffer&) { period_.chunkFinished = true; }},
            {.contextDevice = device_,
             .context = std::make_shared<orb::AVOutputContextBridge>(context_),
             .syncLatency = manager_.renderLatency()});
        devicesChanged_ = notifications_.observe(
            avfoundation::AVOutputContextOutputDevicesDidChangeNotification, context_.get(),
            &realm_.mainQueue(), [this](const auto&) { mirror_->outputDevicesChanged(); });
        for (const auto& receiver : makeReceivers(receivers)) {
            context_->route().connect(receiver);
        }
    });
    addStamps();
    startPlayer();
    constexpr int periodsUntilSteady = 16 * periodsPerChunk;
    for (int period = 0; period < periodsUntilSteady; ++period)
        passPeriod();
}

MirrorWorld::~MirrorWorld() {
    realm_.mainQueue().sync([this] {
        playback_.finish();
        devicesChanged_.cancel();
        mirror_->stop("the benchmark ends");
        mirror_.reset();
        context_.reset();
    });
    realm_.settle();
}

void MirrorWorld::startPlayer() {
    realm_.settle();
    serverQueue_->sync([this] {
        voice_ = roster_->join({.pid = 1, .name = "player", .deviceUID = {}}, [] {});
        while (voice_->fifo().available() < 2 * lmn::PlayerVoice::prefill)
            voice_->fifo().write(played_);
        roster_->framesArrived(*voice_);
    });
    realm_.settle();
}

/// The first one joins before the tap does; the second one behind the runner, which the tap's first sound
/// starts within its own stage, because the first one adds it from within a later period.
void MirrorWorld::addStamps() {
    lmn_.ioQueue().sync([this] {
        auto end = std::make_shared<Stamp>([this] {
            const double now = stopwatch_.nanoseconds();
            period_.cycle = now - period_.begin;
            period_.clock = stopwatch_.nanoseconds() - now;
            period_.floor = stopwatch_.time([this] { floor_.carry(); });
        });
        auto begin = std::make_shared<Stamp>([this, end]() mutable {
            if (end && mirror_->runner().isRunning())
                lmn_.pacer(periodFrames, rate).add(lmn::LMNPacer::Stage::render, std::exchange(end, nullptr));
            period_.chunkFinished = false;
            period_.begin = stopwatch_.nanoseconds();
        });
        lmn_.pacer(periodFrames, rate).add(lmn::LMNPacer::Stage::capture, std::move(begin));
    });
}

const MirrorWorld::Period& MirrorWorld::passPeriod() {
    voice_->fifo().write(played_);
    const double earlier = period_.begin;
    realm_.advanceUntil([&] { return period_.begin != earlier; }, dispatch::toNanoseconds(1));
    return period_;
}

/// The argument: how many receivers play.
void oneIOCycle(benchmark::State& state) {
    MirrorWorld world(state.range(0));
    std::vector<double> plain, withChunk, amortised, floors, clocks;
    double sinceChunk = 0;
    std::size_t periodsSinceChunk = 0;
    for (auto _ : state) {
        const MirrorWorld::Period& period = world.passPeriod();
        state.SetIterationTime(period.cycle * 1e-9);
        floors.push_back(period.floor);
        clocks.push_back(period.clock);
        (period.chunkFinished ? withChunk : plain).push_back(period.cycle);
        sinceChunk += period.cycle;
        if (++periodsSinceChunk == periodsPerChunk) {
            amortised.push_back(std::exchange(sinceChunk, 0) / periodsPerChunk);
            periodsSinceChunk = 0;
        }
    }
    if (withChunk.size() * periodsPerChunk != static_cast<std::size_t>(state.iterations()))
        return state.SkipWithError("the chunks do not come in their turn");
    state.counters["plainNanoseconds"] = median(plain);
    state.counters["plainPercentOfPeriod"] = median(plain) / periodNanoseconds * 100;
    state.counters["chunkNanoseconds"] = median(withChunk);
    state.counters["amortisedNanoseconds"] = median(amortised);
    state.counters["amortisedPercentOfPeriod"] = median(amortised) / periodNanoseconds * 100;
    state.counters["floorNanoseconds"] = median(floors);
    state.counters["plainToFloor"] = median(plain) / median(floors);
    state.counters["amortisedToFloor"] = median(amortised) / median(floors);
    state.counters["clockNanoseconds"] = median(clocks);
}
BENCHMARK(oneIOCycle)
    ->ArgName("receivers")
    ->Arg(1)
    ->Arg(2)
    ->Arg(8)
    ->Arg(32)
    ->UseManualTime()
    ->Iterations(measuredPeriods);

/// Sound without an end; notes how long it took to bring it.
class ConstantSource final : public airplay::FrameSource {
  public:
    explicit ConstantSource(const Stopwatch& stopwatch) : stopwatch_(stopwatch) {}

    airplay::Rendered render(const airplay::FrameGrid&, airplay::FrameIndex,
                             std::span<float> out) noexcept override {
        const double begin = stopwatch_.nanoseconds();
        std::ranges::fill(out, 0.25F);
        nanoseconds_ = stopwatch_.nanoseconds() - begin;
        return airplay::Rendered::sound;
    }
    void pass(dispatch::HostTime) noexcept override {}
    bool isActive() const noexcept override { return true; }

    double nanoseconds() const { return nanoseconds_; }

  private:
    const Stopwatch& stopwatch_;
    double nanoseconds_ = 0;
};

/// The argument: how many receivers play. What a step costs beyond the rendering, by receiver.
void onePlayoutStep(benchmark::State& state) {
    const Stopwatch stopwatch;
    const auto source = std::make_shared<ConstantSource>(stopwatch);
    const airplay::FrameGrid grid{dispatch::HostTime{}};
    airplay::RoutePlayout route;
    route.begin(grid);
    for (const auto& receiver : makeReceivers(state.range(0)))
        route.connect(receiver);
    route.setSources({source});

    constexpr std::size_t stepSamples =
        std::size_t{airplay::RoutePlayout::stepFrames} * airplay::channelCount;
    const Samples from(stepSamples, 0.25F);
    std::vector<Samples> to(static_cast<std::size_t>(state.range(0)), Samples(stepSamples));
    std::vector<double> shares, floors;
    airplay::FrameIndex end = 0;
    const auto receivers = static_cast<double>(state.range(0));
    for (auto _ : state) {
        end += airplay::RoutePlayout::stepFrames;
        const dispatch::HostTime due = grid.timeOf(end);
        const double step = stopwatch.time([&] { route.playSteps(due); });
        state.SetIterationTime(step * 1e-9);
        shares.push_back((step - source->nanoseconds()) / receivers);
        floors.push_back(stopwatch.time([&] {
            for (Samples& target : to)
                std::ranges::copy(from, target.begin());
        }) / receivers);
    }
    state.counters["perReceiverNanoseconds"] = median(shares);
    state.counters["copyNanoseconds"] = median(floors);
    state.counters["ratio"] = median(shares) / median(floors);
}
BENCHMARK(onePlayoutStep)
    ->ArgName("receivers")
    ->Arg(1)
    ->Arg(2)
    ->Arg(8)
    ->Arg(32)
    ->UseManualTime()
    ->Iterations(measuredSteps);

} // namespace
