// Exactly what was asked for reaches the graph, whatever else arrives at this host.

#include <gtest/gtest.h>

#include <ostream>

#include "receiving_graph.h"
#include "support/plain_sockets.h"
#include "support/two_hosts.h"

namespace {

using namespace test;

constexpr std::uint16_t kPort = 5000;

/// One way of receiving, with what it means on the wire.
struct Way {
    const char* name;
    std::string local;
    std::string group;  ///< "0.0.0.0" or "::" for unicast
    std::string source;
    std::vector<std::string> wanted;  ///< what must come of all that is said

    bool isSix() const { return local.find(':') != std::string::npos; }
    bool isUnicast() const { return group == "0.0.0.0" || group == "::"; }
    /// A change of membership, as it is seen on the wire.
    std::string change(const std::string& anySource, const std::string& ofOne) const {
        return (isSix() ? "mld2 " : "igmp3 ") + (source.empty() ? anySource + group : ofOne + group + " " + source);
    }
    std::string joined() const { return change("to-exclude ", "allow "); }
    std::string left() const { return change("to-include ", "block "); }

    friend std::ostream& operator<<(std::ostream& out, const Way& way) { return out << way.name; }
};

struct Family {
    std::string first, second, third;  ///< the peer's two addresses on the first cable, and the one on the other
    std::string here, hereSecond;
    std::string group, otherGroup;
};

const Family kFour{"10.66.0.2", "10.66.0.3", "10.67.0.2", "10.66.0.1", "10.67.0.1", "239.1.1.1", "239.1.1.2"};
const Family kSix{"fd66::2", "fd66::3", "fd67::2", "fd66::1", "fd67::1", "ff15::1", "ff15::2"};

const std::vector<std::string> kBothGroups{"first group", "second group"};
const std::vector<std::string> kOneCable{"first unicast", "second unicast"};
const std::vector<std::string> kBothCables{"first unicast", "second unicast", "third unicast"};

const Way kWays[] = {
    {"AnySource4", "10.66.0.1", "239.1.1.1", "", kBothGroups},
    {"SourceSpecific4", "10.66.0.1", "239.1.1.1", "10.66.0.2", {"first group"}},
    {"Unicast4", "10.66.0.1", "0.0.0.0", "", kOneCable},
    {"AllInterfaces4", "0.0.0.0", "0.0.0.0", "", kBothCables},
    {"AnySource6", "fd66::1", "ff15::1", "", kBothGroups},
    {"SourceSpecific6", "fd66::1", "ff15::1", "fd66::2", {"first group"}},
    {"Unicast6", "fd66::1", "::", "", kOneCable},
    {"AllInterfaces6", "::", "::", "", kBothCables},
};

struct Reception : testing::TestWithParam<Way> {
    void SetUp() override {
        if (!inPrivateNetwork()) GTEST_SKIP() << "needs a private network";
    }
};

// Another program of this host that listens to everything: what it joins must not spill over.
struct NosyProgram {
    explicit NosyProgram(const Family& family)
        : socket(family.here.find(':') == std::string::npos ? AF_INET : AF_INET6) {
        socket.bind(Endpoint(family.here.find(':') == std::string::npos ? "0.0.0.0" : "::", 0), true);
        for (const auto& group : {family.group, family.otherGroup}) {
            for (const char* cable : {"mc0", "mc2"}) socket.joinAnySource(group, cable);
        }
    }
    PlainSocket socket;
};

// Everything that can be said to this host: what is wanted comes last, so that the unwanted has had its time.
void sayEverything(const TwoHosts& hosts, const Family& family) {
    struct Voice {
        std::string name;
        Speaker speaker;
        std::string here;
    };
    const Voice voices[] = {{"third", Speaker(hosts.peer, family.third, "mc3"), family.hereSecond},
                            {"second", Speaker(hosts.peer, family.second, "mc1"), family.here},
                            {"first", Speaker(hosts.peer, family.first, "mc1"), family.here}};
    for (const auto& voice : voices) {
        EXPECT_TRUE(voice.speaker.say(voice.name + " other port", voice.here, kPort + 1));
        EXPECT_TRUE(voice.speaker.say(voice.name + " group other port", family.group, kPort + 1));
        EXPECT_TRUE(voice.speaker.say(voice.name + " other group", family.otherGroup, kPort));
        EXPECT_TRUE(voice.speaker.say(voice.name + " unicast", voice.here, kPort));
        EXPECT_TRUE(voice.speaker.say(voice.name + " group", family.group, kPort));
    }
}

TEST_P(Reception, IsExactAndJoinAndLeaveAreSeenOnTheWire) {
    const Way& way = GetParam();
    const Family& family = way.isSix() ? kSix : kFour;
    const TwoHosts hosts;
    MembershipTap tap(hosts.peer, "mc1");
    ReceivingGraph one(kPort, way.local, way.group, way.source);
    ReceivingGraph two(kPort, way.local, way.group, way.source);
    one.start();
    if (!way.isUnicast()) {
        two.start();
        EXPECT_TRUE(tap.waitFor(way.joined()));
    }
    const NosyProgram nosy(family);
    sayEverything(hosts, family);
    auto wanted = way.wanted;
    ASSERT_TRUE(one.collector->waitForSamples(wanted.size()));
    auto got = one.texts();
    std::sort(got.begin(), got.end());
    std::sort(wanted.begin(), wanted.end());
    EXPECT_EQ(got, wanted);
    if (way.isUnicast()) return;

    ASSERT_TRUE(two.collector->waitForSamples(wanted.size())) << "two receivers of one group both get all";
    EXPECT_EQ(two.texts().size(), wanted.size());
    two.stop();
    one.stop();
}

// Told apart from the test above, where another program of the host keeps the group.
TEST_P(Reception, LeavesTheGroupAtTheStop) {
    const Way& way = GetParam();
    if (way.isUnicast()) return;
    const TwoHosts hosts;
    MembershipTap tap(hosts.peer, "mc1");
    ReceivingGraph graph(kPort, way.local, way.group, way.source);
    graph.start();
    EXPECT_TRUE(tap.waitFor(way.joined()));
    EXPECT_EQ(tap.count(way.left()), 0);
    graph.stop();
    EXPECT_TRUE(tap.waitFor(way.left()));
}

INSTANTIATE_TEST_SUITE_P(Ways, Reception, testing::ValuesIn(kWays),
                         [](const auto& way) { return std::string(way.param.name); });

}  // namespace
