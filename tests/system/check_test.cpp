// What `mcgate check` says of a host of which one thing is wrong, and of one where all is well.

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "support/plain_sockets.h"
#include "support/two_hosts.h"

namespace {

using namespace test;

/// One run of the command, in the test's own network.
struct Answer {
    int status = -1;
    nlohmann::json said;

    /// `arguments` as a shell reads them; `before`: words of a program that starts the command.
    explicit Answer(const std::string& arguments, const std::string& before = "") {
        const std::string line = before + " '" MCGATE_COMMAND "' " + arguments + " --json";
        std::FILE* pipe = popen(line.c_str(), "r");
        std::string text;
        std::array<char, 4096> part{};
        while (pipe != nullptr && std::fgets(part.data(), part.size(), pipe) != nullptr) text += part.data();
        if (pipe != nullptr) status = WEXITSTATUS(pclose(pipe));
        said = nlohmann::json::parse(text, nullptr, false);
    }
    /// Verdict, what was seen and the remedy of a finding, in a line; "absent" when there is none.
    std::string finding(const std::string& id) const {
        if (!said.is_object()) return "nothing said";
        for (const auto& one : said["findings"]) {
            if (one["id"] != id) continue;
            const std::string remedy = one["remedy"].is_null() ? "" : ", do: " + one["remedy"].get<std::string>();
            return one["verdict"].get<std::string>() + ": " + one["seen"].get<std::string>() + remedy;
        }
        return "absent";
    }
};

void expectFinding(const Answer& run, const std::string& id, const std::string& verdict, const std::string& part) {
    const std::string found = run.finding(id);
    EXPECT_EQ(found.rfind(verdict + ":", 0), 0U) << id << " is " << found;
    EXPECT_NE(found.find(part), std::string::npos) << id << " is " << found << ", without '" << part << "'";
}

/// Seven packets of a transport stream every few milliseconds until it is destroyed.
struct Transmission : Stream {
    Transmission(const Host& host, const std::string& local, const std::string& interfaceName,
                 const std::string& address, std::uint16_t port)
        : Stream(host, local, interfaceName, address, port, std::chrono::milliseconds(5), [](std::uint32_t) {
              std::string datagram(1316, '\xFF');
              for (std::size_t at = 0; at < datagram.size(); at += 188) datagram[at] = '\x47';
              return datagram;
          }) {}
};

struct Check : testing::Test {
    void SetUp() override {
        if (!inPrivateNetwork()) GTEST_SKIP() << "needs a private network";
        hosts = std::make_unique<TwoHosts>();
    }
    std::unique_ptr<TwoHosts> hosts;
};

constexpr const char* kGroup = "check 'udp://@239.1.1.1:5000?local=10.66.0.1' --seconds 2";

TEST_F(Check, AllIsWellWithAStreamUnlessItIsSaidToBeTooFast) {
    ip("route add 239.1.1.1 dev mc0");
    const Transmission four(hosts->peer, "10.66.0.2", "mc1", "239.1.1.1", 5000);
    const Transmission six(hosts->peer, "fd66::2", "mc1", "ff15::1", 5000);
    for (const char* url :
         {"udp://@239.1.1.1:5000", "udp://@239.1.1.1:5000?local=10.66.0.1", "udp://@[ff15::1]:5000?local=[fd66::1]"}) {
        const Answer run("check '" + std::string(url) + "' --seconds 2");
        EXPECT_EQ(run.status, 0) << url << run.said;
        EXPECT_EQ(run.said["interface"], "mc0") << url;
        EXPECT_TRUE(run.said["stream"]["transport_stream"].get<bool>()) << url << run.said;
        EXPECT_GT(run.said["stream"]["bit_rate"].get<double>(), 100'000) << url;
        for (const char* id : {"link", "multicast", "port", "stream", "payload", "buffer"}) {
            EXPECT_EQ(run.finding(id).rfind("ok:", 0), 0U) << url << " " << run.finding(id);
        }
    }
    const Answer fast(kGroup + std::string(" --rate 2000000000"));
    EXPECT_EQ(fast.status, 0) << "a warning is no fault";
    expectFinding(fast, "buffer", "warning", "2000 Mbit/s given, do: ");
    EXPECT_EQ(Answer("check --to 'udp://239.1.1.1:5000?local=10.66.0.1'").status, 0);
    expectFinding(Answer("check --to 'udp://10.66.0.2:5000?local=10.66.0.1'"), "route", "ok", "mc0, from 10.66.0.1");
    EXPECT_EQ(Answer("check --to udp://10.66.0.2:5000").status, 0);
}

TEST_F(Check, AnInterfaceThatIsDownOrWithoutACableIsAFault) {
    hosts->pullCable();
    const Answer pulled(kGroup);
    EXPECT_EQ(pulled.status, 1);
    expectFinding(pulled, "link", "fault", "no carrier, do: look at the cable of mc0");
    EXPECT_TRUE(pulled.said["stream"].is_null()) << "it listened in vain";
    hosts->setDown();
    expectFinding(Answer(kGroup), "link", "fault", "ip link set mc0 up");
    expectFinding(Answer("check --to 'udp://10.66.0.2:5000?local=10.66.0.1'"), "link", "fault", "ip link set mc0 up");
    expectFinding(Answer("check 'udp://@239.1.1.1:5000?local=10.66.0.9'"), "interface", "fault", "mc2 10.67.0.1");
}

TEST_F(Check, AMissingOrWrongRouteIsFound) {
    const Answer none("check udp://@239.1.1.1:5000");
    EXPECT_EQ(none.status, 1);
    expectFinding(none, "route", "fault", "no route, do: ip route add 224.0.0.0/4 dev NAME, or name the interface");
    expectFinding(Answer("check --to udp://203.0.113.9:5000"), "route", "fault", "ip route add 203.0.113.9 dev");
    for (const char* url : {"udp://127.255.255.255:5000", "udp://10.66.0.255:5000?local=10.66.0.1"}) {
        expectFinding(Answer("check --to '" + std::string(url) + "'"), "route", "fault", "a broadcast");
    }
    ip("route add prohibit 203.0.113.9\nroute add unreachable 2001:db8::9");
    expectFinding(Answer("check --to udp://203.0.113.9:5000"), "route", "fault", "prohibits");
    expectFinding(Answer("check --to 'udp://[2001:db8::9]:5000'"), "route", "fault", "unreachable");
    expectFinding(Answer("check --to 'udp://10.67.0.2:5000?local=10.66.0.1'"), "route", "warning", "goes by mc2");
    ip("route add 239.1.1.1 dev mc2");
    expectFinding(Answer(kGroup), "route", "warning", "ip route add 239.1.1.1 dev mc0");
    ip("route del prohibit 203.0.113.9\nroute del unreachable 2001:db8::9");
}

TEST_F(Check, ATakenPortIsFoundAndLeftToItsHolder) {
    const PlainSocket alone(AF_INET);
    ASSERT_TRUE(alone.bind(Endpoint("239.1.1.1", 5000), false));
    const Answer group(kGroup);
    EXPECT_EQ(group.status, 1);
    expectFinding(group, "port", "fault", "(pid " + std::to_string(getpid()) + ") at 239.1.1.1, do: end that one");

    Ear ear(hosts->peer, "10.66.0.2", 5001, "mc1");
    const Stream stream(hosts->peer, "10.66.0.3", "mc1", "10.66.0.2", 5001);
    ASSERT_TRUE(ear.waitForNumberAbove(1));
    hosts->peer.run([] {
        for (const char* url : {"udp://@10.66.0.2:5001", "udp://@:5001"}) {
            expectFinding(Answer("check " + std::string(url)), "port", "fault", "at 10.66.0.2");
        }
    });
    const auto heard = ear.heard();
    EXPECT_EQ(heard.size(), *heard.rbegin()) << "the check took datagrams away";
}

TEST_F(Check, MissingPrivilegesAreTold) {
    const Transmission stream(hosts->peer, "10.66.0.2", "mc1", "239.1.1.1", 5000);
    const std::string bare = "setpriv --bounding-set=-all --inh-caps=-all";
    const Answer receiving(kGroup, bare);
    EXPECT_EQ(receiving.status, 0);
    expectFinding(receiving, "reports", "warning", "setcap cap_net_raw,cap_sys_nice+ep " MCGATE_COMMAND);
    expectFinding(receiving, "priority", "warning", "CAP_SYS_NICE");
    const Answer sending("check --to udp://10.66.0.2:5000", bare);
    expectFinding(sending, "priority", "warning", "rtprio 10");
    EXPECT_EQ(sending.finding("reports"), "absent");
}

TEST_F(Check, SilenceIsAFaultAndOnlyThenIsAFirewallSpokenOf) {
    const Answer silent(kGroup);
    EXPECT_EQ(silent.status, 1);
    expectFinding(silent, "stream", "fault", "nft list ruleset");
    const Stream noTransportStream(hosts->peer, "10.66.0.2", "mc1", "239.1.1.1", 5000);
    const Answer other(kGroup);
    EXPECT_EQ(other.status, 0);
    expectFinding(other, "payload", "warning", "no whole packets of a transport stream");
    EXPECT_EQ(other.said.dump().find("nft"), std::string::npos);
}

// The sender's address is one to which this host answers by its other cable.
TEST_F(Check, DatagramsThatTheReversePathFilterDropsAreFound) {
    setNetworkOption("ipv4/conf/mc0/rp_filter", "1");
    const Transmission stream(hosts->peer, "10.67.0.2", "mc1", "239.1.1.1", 5000);
    const Transmission specific(hosts->peer, "10.67.0.2", "mc1", "232.1.1.1", 5000);
    const std::string loosen = "sysctl -w net/ipv4/conf/mc0/rp_filter=2";
    const Answer any(kGroup);
    EXPECT_EQ(any.status, 1) << any.said;
    expectFinding(any, "reverse-path", "warning", loosen);
    const Answer fromSource("check 'udp://10.67.0.2@232.1.1.1:5000?local=10.66.0.1' --seconds 2");
    expectFinding(fromSource, "reverse-path", "fault", "the way back to 10.67.0.2 is mc2");
    expectFinding(fromSource, "reverse-path", "fault", loosen);
    setNetworkOption("ipv4/conf/mc0/rp_filter", "2");
    EXPECT_EQ(Answer(kGroup).status, 0) << "the remedy doesn't help";
}

TEST_F(Check, InterfacesAreListedAsThePagesOfferThem) {
    hosts->setDown();
    const Answer run("interfaces");
    EXPECT_EQ(run.status, 0);
    std::map<std::string, nlohmann::json> byName;
    for (const auto& one : run.said["interfaces"]) byName[one["name"]] = one;
    EXPECT_EQ(byName["mc0"]["state"], "down");
    EXPECT_EQ(byName["mc0"]["addresses"][0],
              (nlohmann::json{{"address", "10.66.0.1"}, {"family", "IPv4"}, {"offered", false}}));
    EXPECT_EQ(byName["mc2"]["state"], "up");
    EXPECT_EQ(byName["mc2"]["addresses"][0],
              (nlohmann::json{{"address", "10.67.0.1"}, {"family", "IPv4"}, {"offered", true}}));
    EXPECT_EQ(byName["mc2"]["addresses"][1]["offered"], false);
    EXPECT_EQ(byName["lo"]["multicast"], false);
    ip("link set mc2 multicast off\naddr flush dev mc0");
    const Answer later("interfaces");
    for (const auto& one : later.said["interfaces"]) {
        EXPECT_EQ(one["addresses"].empty(), one["name"] == "mc0") << one;
        for (const auto& address : one["addresses"]) EXPECT_EQ(address["offered"], false) << one;
    }
}

}  // namespace
