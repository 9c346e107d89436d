// What a check makes of a machine's answers. On real networks it is looked at in tests/system.

#include <gtest/gtest.h>

#include <functional>

#include "check/check_report.h"
#include "check/checkup.h"
#include "platform/socket.h"

namespace {

using namespace mcgate;
using namespace mcgate::host;

platform::SocketAddress address(const char* text) {
    platform::SocketAddress value;
    platform::resolveNumeric(text, 0, value);
    return value;
}

std::vector<std::uint8_t> packets(std::size_t count, std::size_t length, std::size_t syncAt, std::size_t header = 0) {
    std::vector<std::uint8_t> bytes(header + count * length);
    if (header > 0) bytes[0] = 0x80;
    for (std::size_t at = header + syncAt; at < bytes.size(); at += length) bytes[at] = 0x47;
    return bytes;
}

Heard hear(const std::vector<std::uint8_t>& datagram, double spacingSeconds = 0.001) {
    Heard heard;
    for (int i = 0; i < 100; ++i) heard.add(datagram.data(), datagram.size(), i * spacingSeconds);
    return heard;
}

/// A machine with one good interface, a stream of 10.5 Mbit/s and all privileges, until a test takes something away.
struct FakeMachine final : Machine {
    std::vector<Interface> nics{{1, "lo", true, true, false, true, {address("127.0.0.1")}},
                                {2, "eth0", true, true, true, false, {address("10.0.0.2"), address("fd00::2")}}};
    std::function<RouteAnswer(const platform::SocketAddress&)> route = [](const auto& remote) {
        return RouteAnswer{true, 2, address(remote.family() == platform::kFamilyIPv6 ? "fd00::2" : "10.0.0.2"), {}};
    };
    PortAnswer port;
    std::int64_t buffer = kReceiverBuffer;
    Heard stream = hear(packets(7, 188, 0));
    std::optional<int> mode = 0;
    std::optional<std::uint64_t> drops = 0;
    std::uint64_t dropsWhileListening = 0;
    bool reports = true;
    platform::PriorityClass priority = platform::PriorityClass::RealTime;
    int listened = 0;

    std::vector<Interface> interfaces() override { return nics; }
    RouteAnswer routeTo(const platform::SocketAddress& remote, const platform::SocketAddress&, std::uint32_t) override {
        return route(remote);
    }
    PortAnswer openPort(const Road&, std::uint32_t, std::int32_t) override { return port; }
    std::int64_t receiveBuffer() override { return buffer; }
    Heard listen(double) override {
        ++listened;
        if (drops) *drops += dropsWhileListening;
        return stream;
    }
    std::optional<int> reversePathMode(const std::string&) override { return mode; }
    std::optional<std::uint64_t> reversePathDrops() override { return drops; }
    bool mayReport() override { return reports; }
    platform::PriorityClass priorityGranted(int) override { return priority; }
    std::string programPath() override { return "/opt/mcgate"; }
};

const RouteAnswer kNoRoute{false, 0, {}, "no route"};
RouteAnswer byLoopback(const platform::SocketAddress&) { return {true, 1, address("127.0.0.1"), {}}; }

std::string lineOf(const Finding& one) {
    const char* const kVerdicts[] = {"ok", "warning", "fault"};
    return std::string(kVerdicts[static_cast<int>(one.verdict)]) + " " + one.id + ": " + one.seen + " | " + one.remedy;
}

std::string check(const Road& road, FakeMachine& machine, double rate = 0) {
    Checkup checkup(road, {3, static_cast<std::uint64_t>(rate)}, machine);
    checkup.run();
    std::string lines;
    for (const auto& one : checkup.findings()) {
        EXPECT_EQ(one.remedy.empty(), one.verdict == Verdict::Ok) << lineOf(one);
        lines += lineOf(one) + "\n";
    }
    return lines;
}

TEST(Checkup, OfAGoodMachineEveryFindingIsOk) {
    for (const char* url : {"udp://@239.1.1.1:5000", "udp://10.0.0.1@232.1.1.1:5000?local=10.0.0.2", "udp://@:5000",
                            "udp://@[ff15::1]:5000?local=[fd00::2]", "udp://@10.0.0.2:5000"}) {
        FakeMachine machine;
        const std::string lines = check(receiveRoad(url), machine);
        EXPECT_EQ(lines.find("warning "), std::string::npos) << lines;
        EXPECT_EQ(lines.find("fault "), std::string::npos) << lines;
        EXPECT_NE(lines.find("100 datagrams, 131600 bytes"), std::string::npos) << lines;
        EXPECT_NE(lines.find("10.5 Mbit/s measured"), std::string::npos) << lines;
    }
    FakeMachine machine;
    EXPECT_EQ(check(sendRoad("udp://239.1.1.1:5000"), machine).find("fault "), std::string::npos);
    machine.nics[1].addresses.push_back(address("10.0.0.3"));
    const std::string lines = check(sendRoad("udp://239.1.1.1:5000?local=10.0.0.3"), machine);
    EXPECT_NE(lines.find("ok route: 239.1.1.1 goes by eth0, from 10.0.0.3 "), std::string::npos) << lines;
    EXPECT_EQ(machine.listened, 0) << "a destination is not listened to";
}

TEST(Checkup, EachPlantedFaultIsFoundWithItsRemedy) {
    const char* const kAny = "udp://@239.1.1.1:5000?local=10.0.0.2";
    const char* const kFrom = "udp://10.9.0.1@232.1.1.1:5000?local=10.0.0.2";
    const char* const kTo = "udp://[ff15::1]:5000?local=[fd00::2]";
    // What is planted, how the line of its finding begins, and a part of the remedy.
    const std::tuple<std::string, std::function<void(FakeMachine&)>, std::string, std::string> cases[] = {
        {kAny, [](auto& m) { m.nics[1].multicast = false; }, "warning multicast", "ip link set eth0 multicast on"},
        {"udp://@:5000", [](auto& m) { m.nics[1].running = false; }, "warning interface", "ip link set NAME up"},
        {"udp://@[fe80::2]:5000", [](auto&) {}, "fault interface", "[fe80::2%NAME]"},
        {kAny, [](auto& m) { m.route = byLoopback; }, "warning route: 239.1.1.1 goes by lo", "dev eth0"},
        {kAny,
         [](auto& m) {
             m.port = {PortAnswer::State::Taken, "player (pid 7)", {}};
         },
         "fault port: port 5000 of 239.1.1.1: taken by player (pid 7)", "SO_REUSEADDR"},
        {kAny, [](auto& m) { m.port.state = PortAnswer::State::Forbidden; }, "fault port", "CAP_NET_BIND_SERVICE"},
        {kAny,
         [](auto& m) {
             m.port = {PortAnswer::State::Failed, {}, "bind failed with 10022"};
         },
         "fault port: port 5000 of 239.1.1.1: bind failed with 10022", "interface's state"},
        {kAny, [](auto& m) { m.stream = {}; }, "fault stream", "IGMP queries"},
        {kFrom, [](auto& m) { m.stream = {}; }, "fault stream", "Does it send from 10.9.0.1"},
        {kAny, [](auto& m) { m.stream = hear(packets(7, 188, 0, 12)); }, "warning payload", "RTP"},
        {kAny, [](auto& m) { m.stream = hear(packets(7, 204, 0)); }, "warning payload", "204 bytes"},
        {kAny, [](auto& m) { m.stream = hear(packets(7, 192, 4)); }, "warning payload", "192 bytes"},
        {kAny, [](auto& m) { m.stream = hear(packets(11, 188, 0)); }, "warning payload", "at most 2048 bytes"},
        {kAny, [](auto& m) { m.stream.add(nullptr, 0, 0.1); }, "warning payload: 1 of 101 datagrams",
         "what else sends"},
        {kAny, [](auto& m) { m.buffer = 16384; }, "warning buffer: 16384 bytes granted", "rmem_max=1048576"},
        {kAny, [](auto& m) { m.stream = hear(packets(7, 188, 0), 0.00001); }, "warning buffer", "won't help"},
        {kAny, [](auto& m) { m.mode = 1, m.dropsWhileListening = 5, m.stream = {}; },
         "warning reverse-path: eth0: rp_filter 1; it dropped 5 datagrams", "net/ipv4/conf/eth0/rp_filter=2"},
        {kAny, [](auto& m) { m.mode = 1, m.drops.reset(), m.stream = {}; }, "warning reverse-path", "rp_filter=2"},
        {kFrom, [](auto& m) { m.mode = 1, m.route = byLoopback; }, "fault reverse-path", "ip route add 10.9.0.1 dev"},
        {kFrom, [](auto& m) { m.mode = 2, m.route = [](const auto&) { return kNoRoute; }; },
         "fault reverse-path: eth0: rp_filter 2; no route leads back to 10.9.0.1", "ip route add 10.9.0.1 dev eth0"},
        {kAny, [](auto& m) { m.reports = false; }, "warning reports", "setcap cap_net_raw,cap_sys_nice+ep /opt/mcgate"},
        {kAny, [](auto& m) { m.priority = platform::PriorityClass::Normal; }, "warning priority", "nice -5"},
        {kTo, [](auto& m) { m.priority = platform::PriorityClass::Nice; }, "warning priority", ""},
        {kTo, [](auto& m) { m.route = [](const auto&) { return kNoRoute; }; }, "fault route: ff15::1: no route",
         "ip -6 route add multicast ff15::1 dev eth0"},
    };
    for (const auto& [url, plant, finding, remedy] : cases) {
        FakeMachine machine;
        plant(machine);
        const std::string lines = check(url == kTo ? sendRoad(url) : receiveRoad(url), machine);
        const auto at = lines.find(finding);
        ASSERT_NE(at, std::string::npos) << finding << " is not in\n" << lines;
        EXPECT_NE(lines.substr(at, lines.find('\n', at) - at).find(remedy), std::string::npos) << lines;
    }
}

TEST(Checkup, NoSwitchBehindTheLoopbackInterfaceIsWarnedOf) {
    FakeMachine machine;
    machine.nics[0].multicast = true;
    machine.reports = false;
    const std::string lines = check(receiveRoad("udp://@239.1.1.1:5000?local=127.0.0.1"), machine);
    EXPECT_EQ(lines.find("warning "), std::string::npos) << lines;
}

TEST(Checkup, AGivenRateIsTakenInPlaceOfTheMeasuredOne) {
    FakeMachine machine;
    machine.buffer = 212992;  // what a system grants by default: 184 datagrams
    EXPECT_NE(check(receiveRoad("udp://@:5000"), machine).find("ok buffer"), std::string::npos);
    const std::string lines = check(receiveRoad("udp://@:5000"), machine, 20e6);
    EXPECT_NE(lines.find("warning buffer"), std::string::npos) << lines;
    EXPECT_NE(lines.find("holds 97 ms of the 20.0 Mbit/s given"), std::string::npos) << lines;
}

TEST(Checkup, TheTextEndsWithASummary) {
    FakeMachine machine;
    machine.stream = {};
    machine.reports = false;
    const Road road = receiveRoad("udp://@239.1.1.1:5000");
    Checkup checkup(road, {}, machine);
    checkup.run();
    const std::string text = checkText(road, checkup);
    EXPECT_EQ(text.substr(text.rfind('\n', text.size() - 2) + 1), "1 fault, 1 warning\n") << text;
}

}  // namespace
