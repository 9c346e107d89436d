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
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

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
constexpr Place kPlaces[] = {{45301, "127.0.0.1", u"0.0.0.0"},  //
                             {45302, "127.0.0.1", u"0.0.0.0"},
                             {45303, "239.255.77.77", u"239.255.77.77"}};

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

/// Times the calls of one control thread, without what downstream blocked directly, and lets the watchdog see the one
/// in progress.
class Calls {
public:
    explicit Calls(UnrulyFilter& downstream) : downstream_(downstream) {}

    void beginSequence(int step) {
        const std::lock_guard hold(lock_);
        step_ = step;
    }
    template <class Call>
    auto operator()(const char* name, Call&& call) {
        const auto blockedBefore = downstream_.blockedDirectly();
        begin(name);
        auto result = call();
        end(downstream_.blockedDirectly() - blockedBefore);
        return result;
    }
    /// Aborts the program when a call is in progress for too long.
    void look(std::uint32_t seed) {
        const std::lock_guard hold(lock_);
        if (name_ == nullptr || Clock::now() - begin_ < kHang) return;
        std::fprintf(stderr, "%s hangs in sequence %d of seed %u\n", name_, step_, seed);
        std::abort();
    }

private:
    void begin(const char* name) {
        const std::lock_guard hold(lock_);
        name_ = name;
        begin_ = Clock::now();
    }
    void end(Clock::duration blocked) {
        const std::lock_guard hold(lock_);
        const auto own = Clock::now() - begin_ - blocked;
        EXPECT_LE(own / 1ms, kLongestCall / 1ms) << name_ << " in sequence " << step_;
        name_ = nullptr;
    }

    UnrulyFilter& downstream_;
    std::mutex lock_;
    int step_ = 0;
    const char* name_ = nullptr;
    Clock::time_point begin_;
};

/// A thread that does something again and again, with a pause that its end cuts short.
class Beat {
public:
    template <class Action>
    explicit Beat(Action action)
        : thread_([this, action]() mutable {
              std::unique_lock hold(lock_);
              while (!ended_) {
                  hold.unlock();
                  const std::chrono::milliseconds pause = action();
                  hold.lock();
                  wake_.wait_for(hold, pause, [this] { return ended_; });
              }
          }) {}
    ~Beat() {
        {
            const std::lock_guard hold(lock_);
            ended_ = true;
        }
        wake_.notify_one();
        thread_.join();
    }

private:
    std::mutex lock_;
    std::condition_variable wake_;
    bool ended_ = false;
    std::thread thread_;
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
        graphCalls_.beginSequence(step);
        configCalls_.beginSequence(step);
        // Each thread has its own reference, and whichever lets go last destroys the receiver.
        const std::string trace = "sequence " + std::to_string(step);
        SCOPED_TRACE(trace);
        std::thread config([this, step, trace, own = receiver_]() mutable {
            SCOPED_TRACE(trace);
            configure(*own.query<ISourceConfig>(), Dice(seed_, step, 1));
            configCalls_("release", [&own] { return own.reset(), 0; });
        });
        control(Dice(seed_, step, 2));
        if (last) {
            takeDown(way);
            graphCalls_("release", [this] { return receiver_.reset(), 0; });
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

    void makeReceiver() {
        receiver_ = mcgate::host::create<IBaseFilter>(CLSID_CNetworkReceiverFilter);
        renderer_->Stop();
        ASSERT_EQ(output()->Connect(renderer_->input(), nullptr), S_OK);
        ASSERT_EQ(renderer_->Run(0), S_OK);
    }

    ComPtr<IPin> output() { return mcgate::host::findPin(*receiver_, PINDIR_OUTPUT); }

    void control(Dice dice) {
        for (int left = dice.between(4, 10); left > 0; --left) {
            switch (dice.below(8)) {
                case 0:
                case 1:
                case 2:
                    EXPECT_EQ(graphCalls_("Run", [this] { return receiver_->Run(0); }), S_OK);
                    break;
                case 3:
                case 4:
                    EXPECT_EQ(graphCalls_("Pause", [this] { return receiver_->Pause(); }), S_OK);
                    break;
                default:
                    stop(dice.oneIn(2));
            }
            dice.rest();
        }
    }

    // As hosts do it, what is downstream goes first: it stops, or at least holds nobody any more.
    void stop(bool rendererToo) {
        renderer_->letGo();
        if (rendererToo) graphCalls_("Stop of the renderer", [this] { return renderer_->Stop(); });
        EXPECT_EQ(graphCalls_("Stop", [this] { return receiver_->Stop(); }), S_OK);
        if (rendererToo) {
            EXPECT_EQ(renderer_->Run(0), S_OK);
        }
        renderer_->resume();
    }

    void takeDown(Way way) {
        if (way == Way::InOrder) {
            stop(false);
            EXPECT_EQ(graphCalls_("Disconnect", [this] { return output()->Disconnect(); }), S_OK);
        }
        // Without a stop the receiver's end stays connected, and its worker goes on until the filter goes.
        graphCalls_("Stop of the renderer", [this] { return renderer_->Stop(); });
        EXPECT_EQ(graphCalls_("Disconnect of the renderer", [this] { return renderer_->input()->Disconnect(); }), S_OK);
    }

    void configure(ISourceConfig& receiver, Dice dice) {
        static constexpr std::int32_t timeOuts[] = {-1, 0, 1, 200, 5001};
        for (int left = dice.between(4, 10); left > 0; --left) {
            switch (dice.below(6)) {
                case 0:
                case 1: {
                    const Place& place = dice.of(kPlaces);
                    const auto call = [&] { return receiver.SetSource(place.port, u"127.0.0.1", place.group, u""); };
                    EXPECT_EQ(configCalls_("SetSource", call), S_OK);
                    break;
                }
                case 2: {
                    const auto timeOut = dice.of(timeOuts);
                    EXPECT_EQ(configCalls_("SetTimeout", [&] { return receiver.SetTimeout(timeOut); }), S_OK);
                    break;
                }
                case 3: {
                    ILogPerf* const logs[] = {&logs_[0], &logs_[1], nullptr};
                    ILogPerf* const log = dice.of(logs);
                    EXPECT_EQ(configCalls_("SetLogPerf", [&] { return receiver.SetLogPerf(log); }), S_OK);
                    break;
                }
                case 4: {
                    Presence& next = listeners_[static_cast<std::size_t>(dice.below(2))];
                    next.expected = true;
                    const auto call = [&] { return receiver.SetDataSourceListener(&next); };
                    EXPECT_EQ(configCalls_("SetDataSourceListener", call), S_OK);
                    hear(&next);
                    break;
                }
                default: {
                    const auto call = [&] { return receiver.RemoveDataSourceListener(nullptr); };
                    EXPECT_EQ(configCalls_("RemoveDataSourceListener", call), S_OK);
                    hear(nullptr);
                }
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
    Calls graphCalls_{*renderer_};
    Calls configCalls_{*renderer_};
    ComPtr<IBaseFilter> receiver_;
    Traffic traffic_;
    Beat release_{[this, dice = Dice(seed_, -1, 0)]() mutable {
        renderer_->releaseHeld();
        // At times within the receiver's patience with a dry pool, at times long after.
        return std::chrono::milliseconds(dice.oneIn(3) ? 1500 : dice.between(10, 500));
    }};
    Beat watchdog_{[this] {
        graphCalls_.look(seed_);
        configCalls_.look(seed_);
        return 200ms;
    }};
};

TEST(RandomUse, NeitherHangsNorLeaksNorTakesLong) {
    const std::uint32_t seed = seedOfThisRun();
    std::printf("MCGATE_SEED=%u\n", seed);
    std::fflush(stdout);
    const auto& module = test::RegisteredModule::once();
    const auto objectsBefore = CBaseObject::ObjectsActive();
    {
        Host host(seed);
        for (int step = 0; step < kSequences && !testing::Test::HasFatalFailure(); ++step) host.sequence(step);
        EXPECT_TRUE(host.stillReceives());
        host.expectNoStrays();
    }
    EXPECT_EQ(CBaseObject::ObjectsActive(), objectsBefore);
    EXPECT_TRUE(module.isIdle());
}

}  // namespace
