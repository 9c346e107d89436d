// What a graph hears of the interfaces that its sender uses.

#include <gtest/gtest.h>
#include <net/if.h>

#include <algorithm>
#include <utility>

#include "sending_graph.h"
#include "support/two_hosts.h"

namespace {

using namespace test;
using State = std::pair<std::intptr_t, std::intptr_t>;  // index, and 1 for up
using States = std::vector<State>;
using Heard = std::vector<FakeGraph::Event>;

constexpr std::uint16_t kPort = 5000;

std::intptr_t indexOf(const char* name) { return static_cast<std::intptr_t>(if_nametoindex(name)); }

struct InterfaceEvents : testing::Test {
    void SetUp() override {
        if (!inPrivateNetwork()) GTEST_SKIP() << "needs a private network";
    }
    static States statesOf(const Heard& heard) {
        States states;
        for (const auto& one : heard) {
            if (one.code == ISenderConfig::kInterfaceEvent) states.emplace_back(one.param1, one.param2);
        }
        return states;
    }
    bool waitForLast(State state) {
        return graph.waitFor([state](const Heard& heard) {
            const States states = statesOf(heard);
            return !states.empty() && states.back() == state;
        });
    }
    bool waitForCount(std::size_t least) {
        return graph.waitFor([least](const Heard& heard) { return statesOf(heard).size() >= least; });
    }
    std::size_t count() { return statesOf(graph.events()).size(); }

    FakeGraph graph;
};

TEST_F(InterfaceEvents, TellEveryChangeOfAnInterfaceInUseAndOfNoOther) {
    const TwoHosts hosts;
    // Three destinations on one interface, by two of its addresses, and one on none in particular.
    SendingGraph sender(
        {{"239.1.1.1", "10.66.0.1"}, {"10.66.0.2", "10.66.0.1"}, {"ff15::1", "fd66::1"}, {"10.67.0.2", "0.0.0.0"}},
        kPort);
    sender.filter->JoinFilterGraph(&graph, u"sender");
    const std::intptr_t index = indexOf("mc0");
    const State up{index, 1};
    const State down{index, 0};
    sender.start();
    ASSERT_TRUE(waitForLast(up));
    const std::size_t atFirst = count();
    constexpr std::size_t kStarts = 20;
    for (std::size_t i = 0; i < kStarts; ++i) sender.restart();
    ASSERT_TRUE(waitForCount(atFirst + kStarts));
    hosts.pullCable();
    EXPECT_TRUE(waitForLast(down));
    EXPECT_LT(count(), atFirst + 2 * kStarts) << "one at each start, however many addresses";
    hosts.plugCable();
    EXPECT_TRUE(waitForLast(up));
    ip("link set mc2 down");
    hosts.setDown();
    EXPECT_TRUE(waitForLast(down));
    hosts.setUp();
    EXPECT_TRUE(waitForLast(up));
    const std::size_t before = count();
    hosts.removeAddress();
    EXPECT_TRUE(waitForCount(before + 2)) << "both addresses";
    hosts.restoreAddress();
    hosts.deleteInterface();
    EXPECT_TRUE(waitForLast(down));

    hosts.makeInterfaceAnew();
    const State anew{indexOf("mc0"), 1};
    sender.restart();
    EXPECT_TRUE(waitForLast(anew));
    States changes = statesOf(graph.events());
    changes.erase(changes.begin(), changes.begin() + static_cast<std::ptrdiff_t>(atFirst));
    changes.erase(std::unique(changes.begin(), changes.end()), changes.end());
    // A link that was made just now may still be coming up.
    std::erase(changes, State{anew.first, 0});
    EXPECT_EQ(changes, (States{up, down, up, down, up, down, anew})) << "repeats aside";
}

// That a slow graph loses none is told of the monitor: util, ip_interface_monitor_test.

TEST_F(InterfaceEvents, ASenderGoesWhileItsInterfacesChange) {
    const TwoHosts hosts;
    std::atomic<bool> ending{false};
    std::thread changes([&ending] {
        std::string lines;
        for (int i = 0; i < 50; ++i) lines += "addr add 10.66.0.9/24 dev mc0\naddr del 10.66.0.9/24 dev mc0\n";
        while (!ending) ip(lines);
    });
    for (int round = 0; round < 20; ++round) {
        SendingGraph sender({{"239.1.1.1", "10.66.0.1"}}, kPort);
        sender.filter->JoinFilterGraph(&graph, u"sender");
        EXPECT_EQ(sender.filter->Pause(), S_OK);
        EXPECT_TRUE(waitForCount(count() + 1));
        sender.filter->Stop();
    }
    ending = true;
    changes.join();
}

}  // namespace
