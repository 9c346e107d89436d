// When the receiver's port is open, what arrives and what is told, watched from outside through the graph's states.

#include <algorithm>
#include <future>
#include <new>
#include <ostream>
#include <stdexcept>

#include "foundation/com_exception.h"
#include "receiver/receiver_filter_fixture.h"
#include "support/configuration.h"
#include "support/host_pool.h"
#include "support/presence_listener.h"

namespace {

using test::takePort;
namespace udp = quorvel::network::udp::lib_udp::v2_1;

constexpr std::uint8_t kLast = 0xEE;  // fills the datagram that a row ends with

struct ReceiverStates : test::ReceiverFilterTest {
    test::PresenceListener listener;

    void TearDown() override {
        if (filter) filter->SetDataSourceListener(nullptr);
        ReceiverFilterTest::TearDown();
    }
    bool lastArrived() {
        const auto bytes = collector->bytes();
        return std::find(bytes.begin(), bytes.end(), kLast) != bytes.end();
    }
};

/// Calls out of a new filter: P Pause, R Run, S Stop, and d for a datagram, which must be told. Then one more datagram
/// is sent and what it does is looked at.
struct Row {
    const char* calls;
    bool open;                 ///< the port is taken
    bool arrives;              ///< the last datagram comes downstream
    std::uint8_t presentThen;  ///< the data flag before the last datagram

    friend void PrintTo(const Row& row, std::ostream* out) { *out << '"' << row.calls << '"'; }
};

struct ReceiverStateTable : ReceiverStates, testing::WithParamInterface<Row> {
    std::size_t told = 0;
    std::size_t delivered = 0;
    int ends = 0;

    HRESULT call(char what) {
        switch (what) {
            case 'P':
                return filter->Pause();
            case 'R':
                return filter->Run(0);
            case 'S':
                ends += filter->IsActive() ? 1 : 0;
                return filter->Stop();
            default:
                send(1);
                delivered += filter->IsActive() ? 1 : 0;
                return listener.waitForCalls(++told) ? S_OK : E_FAIL;
        }
    }
};

TEST_P(ReceiverStateTable, PortDeliveryAndNoticeAreAsTheRowSays) {
    const Row& row = GetParam();
    ASSERT_NO_FATAL_FAILURE(connect());
    ASSERT_EQ(collector->Run(0), S_OK);
    filter->SetDataSourceListener(&listener);
    for (const char* what = row.calls; *what != '\0'; ++what) ASSERT_EQ(call(*what), S_OK) << *what;

    EXPECT_EQ(!takePort(kPort).valid(), row.open);
    EXPECT_EQ(present(), row.presentThen);
    EXPECT_EQ(collector->endsOfStream(), ends) << "one at each stop of an active filter";
    send(kLast);
    // With the port closed nothing can come; else the listener hears after the delivery.
    told += row.open ? 1 : 0;
    EXPECT_TRUE(listener.waitForCalls(told));
    EXPECT_EQ(listener.heard(), std::string(told, 'T'));
    EXPECT_EQ(present(), row.open ? 1 : row.presentThen);
    EXPECT_TRUE(collector->waitForSamples(delivered + (row.arrives ? 1 : 0)));
    EXPECT_EQ(lastArrived(), row.arrives);
}

INSTANTIATE_TEST_SUITE_P(Calls, ReceiverStateTable,
                         testing::Values(Row{"", false, false, 0},      //
                                         Row{"S", false, false, 0},     //
                                         Row{"P", true, true, 0},       //
                                         Row{"R", true, true, 0},       //
                                         Row{"PR", true, true, 0},      //
                                         Row{"RdP", false, false, 1},   //
                                         Row{"PdP", false, false, 1},   //
                                         Row{"RdPR", false, false, 1},  //
                                         Row{"RPS", false, false, 0},   //
                                         Row{"PdS", true, false, 0},    //
                                         Row{"RdS", true, false, 0},    //
                                         Row{"PdSS", true, false, 0},   //
                                         Row{"PdSdP", true, true, 0},   //
                                         Row{"RdPSR", true, true, 0}),
                         [](const auto& row) { return std::string("New") + row.param.calls; });

TEST_F(ReceiverStates, ATakenPortFailsThePauseAndTheNextOneTriesAnew) {
    ASSERT_NO_FATAL_FAILURE(connect());
    ASSERT_EQ(collector->Run(0), S_OK);
    filter->SetDataSourceListener(&listener);
    auto other = takePort(kPort);
    ASSERT_TRUE(other.valid());
    EXPECT_EQ(filter->Pause(), E_FAIL);
    EXPECT_TRUE(filter->IsStopped());
    EXPECT_EQ(filter->Run(0), E_FAIL);
    EXPECT_TRUE(filter->IsStopped());

    // The worker without a thread is still there, so that a new source opens at once, stopped or not.
    EXPECT_EQ(listenOn(kPort + 1), S_OK);
    EXPECT_FALSE(takePort(kPort + 1).valid());
    EXPECT_EQ(listenOn(kPort), S_OK) << "the port is still taken, which is not told";
    EXPECT_TRUE(takePort(kPort + 1).valid());

    other = {};
    EXPECT_EQ(filter->Pause(), S_OK);
    send(kLast);
    EXPECT_TRUE(collector->waitForSamples(1));
}

/// Something that a maker throws, and what Pause gives for it.
struct Thrown {
    void (*raise)();
    HRESULT byWorker;    ///< the making of the worker throws
    HRESULT byListener;  ///< the making of its listener throws
};
const Thrown kThrown[] = {{[] { throw std::runtime_error("no such thing"); }, E_FAIL, E_FAIL},
                          {[] { throw quorvel::system::com_utils::v1::COMException(VFW_E_RUNTIME_ERROR); },
                           VFW_E_RUNTIME_ERROR, VFW_E_RUNTIME_ERROR},
                          {[] { throw ATL::CAtlException{VFW_E_WRONG_STATE}; }, VFW_E_WRONG_STATE, VFW_E_WRONG_STATE},
                          {[] { throw std::bad_alloc(); }, E_OUTOFMEMORY, E_FAIL},
                          {[] { throw 5; }, E_FAIL, E_FAIL}};

TEST_F(ReceiverStates, APauseGivesAStatusForWhateverAMakerThrowsAndHoldsNoLock) {
    using Makers = CNetReceiver::Makers;
    void (*inWorker)() = nullptr;
    void (*inListener)() = nullptr;
    useMakers({[&](const udp::Endpoint& target) {
                   if (inListener != nullptr) inListener();
                   return Makers::makeListener(target);
               },
               [&] {
                   if (inWorker != nullptr) inWorker();
                   return Makers::makeRawSender();
               }});
    ASSERT_NO_FATAL_FAILURE(connect());
    ASSERT_EQ(collector->Run(0), S_OK);
    // The worker is made once: its failures come before all else.
    for (const Thrown& one : kThrown) {
        inWorker = one.raise;
        EXPECT_EQ(filter->Pause(), one.byWorker);
        EXPECT_TRUE(filter->IsStopped());
    }
    inWorker = nullptr;
    for (const Thrown& one : kThrown) {
        inListener = one.raise;
        EXPECT_EQ(filter->Pause(), one.byListener);
        EXPECT_TRUE(filter->IsStopped());
    }
    inListener = nullptr;
    // On another thread, since the locks let the one that holds them in again.
    auto next = std::async(std::launch::async, [this] {
        EXPECT_EQ(listenOn(kPort + 1), S_OK);
        EXPECT_EQ(listenOn(kPort), S_OK);
        EXPECT_EQ(filter->Stop(), S_OK);
        EXPECT_EQ(filter->Pause(), S_OK);
    });
    ASSERT_EQ(next.wait_for(test::kDeadline), std::future_status::ready) << "a lock is held";
    send(kLast);
    EXPECT_TRUE(collector->waitForSamples(1));
}

TEST_F(ReceiverStates, DestructionFreesAWorkerThatWaitsForASample) {
    const test::ComPtr<test::HostPool> pool(new test::HostPool);
    ASSERT_EQ(collector->input()->NotifyAllocator(pool.get(), 0), S_OK);
    ASSERT_NO_FATAL_FAILURE(connect());
    ASSERT_NO_FATAL_FAILURE(runUntilDry());

    // The renderer leaves, and nothing of that reaches the pool: the worker goes on waiting for one of its samples.
    pool->stayCommitted(true);
    ASSERT_EQ(collector->Stop(), S_OK);
    ASSERT_EQ(collector->input()->Disconnect(), S_OK);
    pool->stayCommitted(false);
    connection.reset();
    EXPECT_TRUE(within(std::chrono::seconds(15), [this] { filter.reset(); }));
    EXPECT_TRUE(takePort(kPort).valid());
    pool->Decommit();
}

TEST_F(ReceiverStates, APauseBehindANewSourceWithADryPoolTakesHalfASecondAtMost) {
    ASSERT_NO_FATAL_FAILURE(connect());
    const std::string fresh = "127.0.0.1 " + std::to_string(kOtherPort) + " 0.0.0.0 0.0.0.0";
    // The shortest of some: during the others the machine may have been busy.
    std::int64_t shortest = 501;
    for (int i = 0; i < 5 && shortest > 500; ++i) {
        ASSERT_NO_FATAL_FAILURE(runUntilDry(log.fullNotices() + 1));
        auto setting = std::async(std::launch::async, [this] { return listenOn(kOtherPort); });
        // The new source is read back while the old worker is still waited for.
        EXPECT_TRUE(test::eventually([&] { return test::sourceOf(*filter) == fresh; }));
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_EQ(filter->Pause(), S_OK);
        const auto took = (std::chrono::steady_clock::now() - begin) / std::chrono::milliseconds(1);
        shortest = std::min<std::int64_t>(shortest, took);
        EXPECT_EQ(setting.get(), S_OK);
        collector->letGo();
        ASSERT_EQ(filter->Stop(), S_OK);
        ASSERT_EQ(listenOn(kPort), S_OK);
    }
    EXPECT_LE(shortest, 500);
}

}  // namespace
