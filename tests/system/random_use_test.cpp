// A receiver in the hands of a host that knows no rest: graph control on one thread, configuration on another, traffic
// to everything that it may listen to, a downstream that misbehaves. Nothing may hang, leak or take long. MCGATE_SEED
// in the environment repeats a run.

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <mutex>
#include <random>
#include <string>
#include <thread>

#include "cli/module_loader.h"
#include "graph/filter_graph.h"
#include "interfaces/class_ids.h"
#include "interfaces/i_source_config.h"
#include "network/sock_udp_sender.h"
#include "support/recording_log.h"
#include "support/registered_module.h"
#include "support/unruly_filter.h"

namespace {

using namespace std::chrono_literals;
using mcgate::platform::ComPtr;
using test::UnrulyFilter;
using Clock = std::chrono::steady_clock;
namespace udp = quorvel::network::udp::lib_udp::v2_1;

#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
constexpr int kSlowness = 5;
#else
constexpr int kSlowness = 1;
#endif
constexpr Clock::duration kLongestCall = kSlowness * 500ms;
constexpr Clock::duration kHang = 20s;
constexpr int kSequences = 500;

struct Place {
    std::uint16_t port;
    const char* remote;  ///< where a sender sends
    const WCHAR* group;
};
constexpr Place kPlaces[] = {{25301, "127.0.0.1", u"0.0.0.0"},  //
                             {25302, "127.0.0.1", u"0.0.0.0"},
                             {25303, "239.255.77.77", u"239.255.77.77"}};

std::uint32_t seedOfThisRun() {
    const char* given = std::getenv("MCGATE_SEED");
    return given != nullptr ? static_cast<std::uint32_t>(std::strtoul(given, nullptr, 10)) : 20250117U;
}

/// Chooses for one thread of one sequence; the same for the same seed.
class Dice {
public:
    Dice(std::uint32_t seed, int step, int thread) {
        std::seed_seq all{seed, static_cast<std::uint32_t>(step), static_cast<std::uint32_t>(thread)};
        random_.seed(all);
    }
    int below(int limit) { return std::uniform_int_distribution<int>(0, limit - 1)(random_); }
    int between(int least, int most) { return least + below(most - least + 1); }
    bool oneIn(int count) { return below(count) == 0; }
    template <class Item, std::size_t count>
    Item& of(Item (&items)[count]) {
        return items[static_cast<std::size_t>(below(static_cast<int>(count)))];
    }
    /// Some calls follow each other at once, others give the filter time to get going.
    void rest() {
        if (oneIn(2)) std::this_thread::sleep_for(std::chrono::microseconds(below(12'000)));
    }

private:
    std::mt19937 random_;
};

/// Knows each thread's call in progress, and aborts the program when one hangs.
class Watchdog {
public:
    void begin(const char* name) {
        const std::lock_guard hold(lock_);
        calls_[std::this_thread::get_id()] = {name, Clock::now()};
    }
    void end() {
        const std::lock_guard hold(lock_);
        calls_.erase(std::this_thread::get_id());
    }
    std::chrono::milliseconds look() {
        const std::lock_guard hold(lock_);
        for (const auto& [thread, call] : calls_) {
            if (Clock::now() - call.begin < kHang) continue;
            std::fprintf(stderr, "%s hangs\n", call.name);
            std::abort();
        }
        return 1s;
    }

private:
    struct Call {
        const char* name;
        Clock::time_point begin;
    };
    std::mutex lock_;
    std::map<std::thread::id, Call> calls_;
};
Watchdog watchdog;

/// The result of a call, which may not take long, what downstream blocked its source directly left aside.
template <class Call>
auto timed(UnrulyFilter& downstream, const char* name, Call&& call) {
    const auto blockedBefore = downstream.blockedDirectly();
    const auto begin = Clock::now();
    watchdog.begin(name);
    auto result = call();
    watchdog.end();
    const auto own = Clock::now() - begin - (downstream.blockedDirectly() - blockedBefore);
    EXPECT_LE(own / 1ms, kLongestCall / 1ms) << name;
    return result;
}

/// A thread that does something again and again, with a pause that its end cuts short.
class Beat {
public:
    template <class Action>
    explicit Beat(Action action)
        : thread_([this, action](const std::stop_token& end) mutable {
              std::unique_lock hold(lock_);
              while (!end.stop_requested()) wake_.wait_for(hold, end, action(), [] { return false; });
          }) {}

private:
    std::mutex lock_;
    std::condition_variable_any wake_;
    std::jthread thread_;
};

/// Datagrams to all places, at a pace that changes.
class Traffic {
public:
    enum Pace { kFlood, kSparse, kSilent };
    void setPace(Pace pace) { pace_ = pace; }

private:
    std::chrono::milliseconds burst() {
        const Pace pace = pace_;
        if (pace == kSilent) return 10ms;
        for (auto& sender : senders_) {
            for (int i = 0; i < (pace == kFlood ? 30 : 1); ++i) sender.send(packet_);
        }
        return pace == kFlood ? 1ms : 20ms;
    }
    static udp::SockUdpSender to(const Place& place) {
        return udp::SockUdpSender(udp::MakeDestinationAddresses("127.0.0.1", place.port, place.remote));
    }
    static udp::UdpPacket packet() {
        udp::UdpPacket one;
        one.size = 1316;
        one.payload.fill(0x47);
        return one;
    }

    std::atomic<Pace> pace_{kFlood};
    const udp::UdpPacket packet_ = packet();
    std::array<udp::SockUdpSender, 3> senders_{to(kPlaces[0]), to(kPlaces[1]), to(kPlaces[2])};
    Beat beat_{[this] { return burst(); }};
};

/// Takes its time in each call, and knows whether it may be called.
class Presence final : public IDataSourceListener {
public:
    void OnDataPresenceChanged(bool) override {
        std::this_thread::sleep_for(2ms);
        if (!expected) ++strays;
    }
    void OnReserved() override {}

    std::atomic<bool> expected{false};
    std::atomic<int> strays{0};
};

/// One host with a receiver before a renderer, its two control threads and the traffic.
class Host {
public:
    explicit Host(std::uint32_t seed) : seed_(seed) { makeReceiver(); }
    ~Host() {
        renderer_->letGo();
        takeDown(Way::InOrder);
        receiver_.reset();
    }

    void sequence(int step) {
        using Manner = UnrulyFilter::Manner;
        static constexpr Manner manners[] = {Manner::Polite,  Manner::Blocking, Manner::Blocking,
                                             Manner::Holding, Manner::Direct,   Manner::Direct};
        Dice dice(seed_, step, 0);
        renderer_->behave(dice.of(manners));
        traffic_.setPace(dice.oneIn(10) ? Traffic::kSilent : dice.oneIn(10) ? Traffic::kSparse : Traffic::kFlood);
        const bool last = dice.oneIn(3);
        const Way way = dice.oneIn(3) ? Way::RendererLeaves : Way::InOrder;
        // Each thread has its own reference, and whichever lets go last destroys the receiver.
        const std::string trace = "sequence " + std::to_string(step);
        SCOPED_TRACE(trace);
        std::thread config([this, step, trace, own = receiver_]() mutable {
            SCOPED_TRACE(trace);
            configure(*own.query<ISourceConfig>(), Dice(seed_, step, 1));
            timed(*renderer_, "release", [&own] { return own.reset(), 0; });
        });
        control(Dice(seed_, step, 2));
        if (last) {
            takeDown(way);
            timed(*renderer_, "release", [this] { return receiver_.reset(), 0; });
        }
        config.join();
        if (!last) return;
        hear(nullptr);
        makeReceiver();
    }

    /// A new receiver, before a renderer that behaves.
    bool stillReceives() {
        takeDown(Way::InOrder);
        makeReceiver();
        renderer_->behave(UnrulyFilter::Manner::Polite);
        traffic_.setPace(Traffic::kSparse);
        EXPECT_EQ(receiver_.query<ISourceConfig>()->SetSource(kPlaces[2].port, u"127.0.0.1", kPlaces[2].group, u""),
                  S_OK);
        const auto before = renderer_->received();
        EXPECT_EQ(receiver_->Run(0), S_OK);
        return renderer_->waitForReceived(before + 10, 20s);
    }

    /// No listener was called that was removed.
    void expectNoStrays() {
        for (Presence& listener : listeners_) EXPECT_EQ(listener.strays, 0);
    }

private:
    enum class Way { InOrder, RendererLeaves };

    template <class Call>
    void expectDone(const char* name, Call&& call) {
        EXPECT_EQ(timed(*renderer_, name, call), S_OK) << name;
    }

    void makeReceiver() {
        receiver_ = mcgate::host::create<IBaseFilter>(CLSID_CNetworkReceiverFilter);
        renderer_->Stop();
        ASSERT_EQ(output()->Connect(renderer_->GetPin(0), nullptr), S_OK);
        ASSERT_EQ(renderer_->Run(0), S_OK);
    }

    ComPtr<IPin> output() { return mcgate::host::findPin(*receiver_, PINDIR_OUTPUT); }

    void control(Dice dice) {
        for (int left = dice.between(4, 10); left > 0; --left) {
            const int what = dice.below(8);
            if (what < 3) {
                expectDone("Run", [this] { return receiver_->Run(0); });
            } else if (what < 5) {
                expectDone("Pause", [this] { return receiver_->Pause(); });
            } else {
                stop(dice.oneIn(2));
            }
            dice.rest();
        }
    }

    // As hosts do it, what is downstream goes first: it stops, or at least holds nobody any more.
    void stop(bool rendererToo) {
        renderer_->letGo();
        if (rendererToo) expectDone("Stop of the renderer", [this] { return renderer_->Stop(); });
        expectDone("Stop", [this] { return receiver_->Stop(); });
        if (rendererToo) {
            EXPECT_EQ(renderer_->Run(0), S_OK);
        }
        renderer_->resume();
    }

    void takeDown(Way way) {
        if (way == Way::InOrder) {
            stop(false);
            expectDone("Disconnect", [this] { return output()->Disconnect(); });
        }
        // Without a stop the receiver's end stays connected, and its worker goes on until the filter goes.
        expectDone("Stop of the renderer", [this] { return renderer_->Stop(); });
        expectDone("Disconnect of the renderer", [this] { return renderer_->GetPin(0)->Disconnect(); });
    }

    void configure(ISourceConfig& receiver, Dice dice) {
        static constexpr std::int32_t timeOuts[] = {-1, 0, 1, 200, 5001};
        for (int left = dice.between(4, 10); left > 0; --left) {
            const int what = dice.below(6);
            if (what < 2) {
                const Place& place = dice.of(kPlaces);
                expectDone("SetSource", [&] { return receiver.SetSource(place.port, u"127.0.0.1", place.group, u""); });
            } else if (what == 2) {
                const auto timeOut = dice.of(timeOuts);
                expectDone("SetTimeout", [&] { return receiver.SetTimeout(timeOut); });
            } else if (what == 3) {
                ILogPerf* const logs[] = {&logs_[0], &logs_[1], nullptr};
                ILogPerf* const log = dice.of(logs);
                expectDone("SetLogPerf", [&] { return receiver.SetLogPerf(log); });
            } else if (what == 4) {
                Presence& next = listeners_[static_cast<std::size_t>(dice.below(2))];
                next.expected = true;
                expectDone("SetDataSourceListener", [&] { return receiver.SetDataSourceListener(&next); });
                hear(&next);
            } else {
                expectDone("RemoveDataSourceListener", [&] { return receiver.RemoveDataSourceListener(nullptr); });
                hear(nullptr);
            }
            dice.rest();
        }
    }

    // From now on only `one` may be called.
    void hear(Presence* one) {
        for (Presence& listener : listeners_) listener.expected = &listener == one;
    }

    const std::uint32_t seed_;
    const ComPtr<UnrulyFilter> renderer_{new UnrulyFilter(seed_)};
    std::array<Presence, 2> listeners_;
    std::array<test::RecordingLog, 2> logs_;
    ComPtr<IBaseFilter> receiver_;
    Traffic traffic_;
    Beat release_{[this, dice = Dice(seed_, -1, 0)]() mutable {
        renderer_->releaseHeld();
        // At times within the receiver's patience with a dry pool, at times long after.
        return std::chrono::milliseconds(dice.oneIn(3) ? 1500 : dice.between(10, 500));
    }};
};

TEST(RandomUse, NeitherHangsNorLeaksNorTakesLong) {
    const std::uint32_t seed = seedOfThisRun();
    std::printf("MCGATE_SEED=%u\n", seed);
    std::fflush(stdout);
    const auto& module = test::RegisteredModule::once();
    const auto objectsBefore = CBaseObject::ObjectsActive();
    {
        const Beat watching([] { return watchdog.look(); });
        Host host(seed);
        for (int step = 0; step < kSequences && !testing::Test::HasFatalFailure(); ++step) host.sequence(step);
        EXPECT_TRUE(host.stillReceives());
        host.expectNoStrays();
    }
    EXPECT_EQ(CBaseObject::ObjectsActive(), objectsBefore);
    EXPECT_TRUE(module.isIdle());
}

}  // namespace
