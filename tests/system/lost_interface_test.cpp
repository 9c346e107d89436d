// Cables, interfaces and addresses that go and come back, seen from the receiver and from the sender.

#include <gtest/gtest.h>

#include <memory>
#include <ostream>
#include <vector>

#include "receiving_graph.h"
#include "sending_graph.h"
#include "support/plain_sockets.h"
#include "support/two_hosts.h"

namespace {

using namespace test;
using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

constexpr std::uint16_t kPort = 5000;
constexpr std::int32_t kTimeoutMs = 2000;
constexpr milliseconds kAfterTimeout{kTimeoutMs + 13'000};

/// Something that goes wrong with the first cable, and its repair.
struct Fault {
    const char* name;
    void (TwoHosts::*happen)() const;
    void (TwoHosts::*mend)() const;
    bool newInterface = false;  ///< after the repair it is another interface with the old name and address

    friend std::ostream& operator<<(std::ostream& out, const Fault& fault) { return out << fault.name; }
};

const Fault kFaults[] = {
    {"CablePulled", &TwoHosts::pullCable, &TwoHosts::plugCable},
    {"AdminDown", &TwoHosts::setDown, &TwoHosts::setUp},
    {"AddressRemoved", &TwoHosts::removeAddress, &TwoHosts::restoreAddress},
    {"InterfaceMadeAnew", &TwoHosts::deleteInterface, &TwoHosts::makeInterfaceAnew, true},
};

/// What the peer sends on the first cable.
struct ThreeStreams {
    explicit ThreeStreams(const TwoHosts& hosts)
        : anySource(hosts.peer, "10.66.0.2", "mc1", "239.1.1.1", kPort),
          sourceSpecific(hosts.peer, "10.66.0.2", "mc1", "232.1.1.1", kPort),
          six(hosts.peer, "fd66::2", "mc1", "ff15::1", kPort) {}
    Stream anySource, sourceSpecific, six;
};

struct LostInterface : testing::TestWithParam<Fault> {
    void SetUp() override {
        if (!inPrivateNetwork()) GTEST_SKIP() << "needs a private network";
    }
};

TEST_P(LostInterface, TheReceiverTellsNoDataAndThenDataWithoutARestart) {
    const Fault& fault = GetParam();
    const TwoHosts hosts;
    ReceivingGraph anySource(kPort, "10.66.0.1", "239.1.1.1", "", kTimeoutMs);
    ReceivingGraph sourceSpecific(kPort, "10.66.0.1", "232.1.1.1", "10.66.0.2", kTimeoutMs);
    ReceivingGraph six(kPort, "fd66::1", "ff15::1", "", kTimeoutMs);
    ReceivingGraph* const graphs[] = {&anySource, &sourceSpecific, &six};
    for (auto* graph : graphs) graph->start();
    auto spoken = std::make_unique<ThreeStreams>(hosts);
    for (auto* graph : graphs) ASSERT_TRUE(graph->collector->waitForSamples(1));

    const auto gone = Clock::now();
    (hosts.*fault.happen)();
    // A group still arrives at an interface that has lost its address: here silence comes from the other side.
    if (fault.happen == &TwoHosts::removeAddress) spoken.reset();
    for (auto* graph : graphs) EXPECT_TRUE(graph->presence.waitFor(false, gone, kAfterTimeout));
    std::this_thread::sleep_until(gone + milliseconds(4000));  // the length of the story

    const auto mended = Clock::now();
    (hosts.*fault.mend)();
    if (fault.newInterface || !spoken) {
        spoken.reset();
        spoken = std::make_unique<ThreeStreams>(hosts);
    }
    for (auto* graph : graphs) EXPECT_TRUE(graph->presence.waitFor(true, mended, kAfterTimeout));
}

TEST_P(LostInterface, TheSenderServesTheOthersAndComesBack) {
    const Fault& fault = GetParam();
    const TwoHosts hosts;
    // Both the lost and the sound cable carry a group and a unicast stream; the lost ones stand first in the list.
    SendingGraph sender({{"239.1.1.1", "10.66.0.1"},
                         {"10.66.0.2", "10.66.0.1"},
                         {"ff15::1", "fd66::1"},
                         {"239.1.1.2", "10.67.0.1"},
                         {"10.67.0.2", "10.67.0.1"}},
                        kPort);
    const auto listenFirst = [&hosts] {
        std::vector<std::unique_ptr<Ear>> ears;
        for (const char* to : {"239.1.1.1", "10.66.0.2", "ff15::1"}) {
            ears.push_back(std::make_unique<Ear>(hosts.peer, to, kPort, "mc1"));
        }
        return ears;
    };
    auto lost = listenFirst();
    Ear soundGroup(hosts.peer, "239.1.1.2", kPort, "mc3");
    Ear soundUnicast(hosts.peer, "10.67.0.2", kPort, "mc3");
    sender.start();
    const auto lostHearAbove = [&lost](std::uint32_t number) {
        for (const auto& ear : lost) EXPECT_TRUE(ear->waitForNumberAbove(number));
    };
    lostHearAbove(10);

    (hosts.*fault.happen)();
    const std::uint32_t atFault = sender.last();
    const int slowBefore = sender.slowDeliveries();
    for (Ear* ear : {&soundGroup, &soundUnicast}) ASSERT_TRUE(ear->waitForNumberAbove(atFault + 400));
    (hosts.*fault.mend)();
    if (fault.newInterface) {
        lost = listenFirst();
        sender.restart();
    }
    const std::uint32_t afterMend = sender.last();
    lostHearAbove(afterMend);
    for (Ear* ear : {&soundGroup, &soundUnicast}) EXPECT_TRUE(ear->waitForNumberAbove(afterMend));
    sender.stop();

    EXPECT_EQ(sender.log.count("unable to send packet"), 0) << "a lost interface costs nothing and says nothing";
    EXPECT_LE(sender.slowDeliveries() - slowBefore, 3) << "more than a busy machine holds up";
    for (Ear* ear : {&soundGroup, &soundUnicast}) {
        // What waits in the sender at the end stays there; a restart forgets a datagram that waits for its successor.
        const auto heard = ear->heard();
        ASSERT_FALSE(heard.empty());
        const std::size_t missing = *heard.rbegin() - heard.size();
        EXPECT_LE(missing, fault.newInterface ? 1U : 0U) << "every datagram reaches the other destinations";
        EXPECT_EQ(ear->count(), heard.size()) << "once";
    }
}

INSTANTIATE_TEST_SUITE_P(Faults, LostInterface, testing::ValuesIn(kFaults),
                         [](const auto& fault) { return std::string(fault.param.name); });

}  // namespace
