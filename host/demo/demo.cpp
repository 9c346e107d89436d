// Carries a file from a sending process to a receiving one and tells whether it came whole.

#include <arpa/inet.h>
#include <net/if.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <filesystem>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>

#include "cli/url.h"
#include "demo/child.h"
#include "demo/verdict.h"
#include "ts/ts_packet.h"

namespace {

using mcgate::host::Child;
using nlohmann::json;

constexpr double kBoundMedianMs = 1.0;
constexpr double kBoundP99Ms = 2.0;

// Of an event, or of a line that is no report.
std::string wordsOf(const json& event, const std::string& line) {
    if (!event.is_object()) return line;
    if (event.value("event", "") == "module") return "by the module " + event.value("path", "?");
    if (event.value("event", "") != "interface_state") return event.value("text", line);
    return "interface " + event.value("name", "?") + (event.value("up", false) ? " is up" : " is down");
}

/// Shows the reports of one side as they come and keeps the last.
class Side {
public:
    explicit Side(std::string name) : name_(std::move(name)) {}

    void take(const std::string& line) {
        const json report = json::parse(line, nullptr, false);
        const std::lock_guard hold(lock_);
        if (!report.is_object() || report.contains("event")) {
            std::printf("%-8s %s\n", name_.c_str(), wordsOf(report, line).c_str());
            std::fflush(stdout);
            return;
        }
        last_ = report;
        const auto number = [&report](const char* key) {
            return report.contains(key) && report[key].is_number() ? report[key].get<double>() : 0.0;
        };
        std::printf("%-8s %6.1f s  %7.2f Mbit/s  %9.0f datagrams  %4.0f drops  hold-back %3.0f ms  %s\n", name_.c_str(),
                    number("time_s"), number("bit_rate") / 1e6, number("datagrams"),
                    number("dropped_samples") + number("kernel_drops"), number("hold_back_ms"),
                    report.value("data_present", false) ? "data present" : "no data");
        std::fflush(stdout);
    }
    json last() {
        const std::lock_guard hold(lock_);
        return last_;
    }

private:
    const std::string name_;
    std::mutex lock_;
    json last_ = json::object();
};

bool isSix(const std::string& address) { return address.find(':') != std::string::npos; }

std::string inUrl(const std::string& address) { return isSix(address) ? "[" + address + "]" : address; }

// Not every system routes IPv6 groups over the loopback interface, and what is sent then goes nowhere without an error.
void demandLoopbackRoute(const std::string& group, std::uint16_t port) {
    sockaddr_in6 target{};
    target.sin6_family = AF_INET6;
    target.sin6_port = htons(port);
    const auto loopback = static_cast<int>(if_nametoindex("lo"));
    const int probe = socket(AF_INET6, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const bool routed = probe >= 0 && inet_pton(AF_INET6, group.c_str(), &target.sin6_addr) == 1 &&
                        setsockopt(probe, IPPROTO_IPV6, IPV6_MULTICAST_IF, &loopback, sizeof loopback) == 0 &&
                        connect(probe, reinterpret_cast<const sockaddr*>(&target), sizeof target) == 0;
    if (probe >= 0) close(probe);
    if (routed) return;
    throw std::runtime_error("the loopback interface has no route for " + group + "; as root: ip -6 route add local " +
                             group + " dev lo table local");
}

std::uint64_t field(const json& report, const char* key) {
    return report.contains(key) && report[key].is_number() ? report[key].get<std::uint64_t>() : 0;
}

double spacing(const json& report, const char* key) {
    return report.contains("spacing_error_ms") ? report["spacing_error_ms"].value(key, 0.0) : 0.0;
}

// Waits until the receiver's first report has come: its socket is open then.
void waitForReceiver(const Child& receiver, Side& side) {
    for (int i = 0; i < 100 && side.last().empty(); ++i) {
        if (receiver.hasEnded()) {
            throw std::runtime_error(
                "the receiver did not come up, see above; --port and --group choose another place");
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    if (side.last().empty()) throw std::runtime_error("the receiver told nothing for ten seconds");
}

// Of others on the same group and port, since nothing is sent twice.
void tellStrangers(const json& sending, const json& receiving) {
    if (field(receiving, "datagrams") <= field(sending, "datagrams")) return;
    std::printf(
        "         more came than was sent: another program sends there, too; --port and --group choose another "
        "place\n");
}

void tellLoss(const mcgate::host::Verdict& verdict, const json& sending, const json& receiving) {
    const std::uint64_t sent = field(sending, "datagrams");
    const std::uint64_t got = field(receiving, "datagrams");
    const std::uint64_t came = verdict.receivedBytes - verdict.nullPackets * mcgate::host::kPacketSize;
    std::printf("         loss %llu of %llu datagrams, %llu bytes missing\n",
                static_cast<unsigned long long>(sent > got ? sent - got : 0), static_cast<unsigned long long>(sent),
                static_cast<unsigned long long>(verdict.sentBytes > came ? verdict.sentBytes - came : 0));
}

bool tellVerdict(const std::string& sent, const std::string& received, const json& sending, const json& report) {
    const auto verdict = mcgate::host::compareStreams(sent, received);
    const auto errors = report.value("continuity_errors", std::uint64_t{0});
    if (verdict.whole) {
        std::printf("verdict: whole: %llu bytes equal, followed by %llu null packets\n",
                    static_cast<unsigned long long>(verdict.sentBytes),
                    static_cast<unsigned long long>(verdict.nullPackets));
    } else {
        std::printf("verdict: NOT whole: %llu bytes sent, %llu received, the first difference at %llu\n",
                    static_cast<unsigned long long>(verdict.sentBytes),
                    static_cast<unsigned long long>(verdict.receivedBytes),
                    static_cast<unsigned long long>(verdict.firstDifference));
    }
    tellLoss(verdict, sending, report);
    tellStrangers(sending, report);
    std::printf("         continuity errors %llu\n", static_cast<unsigned long long>(errors));
    const double median = spacing(report, "median");
    const double p99 = spacing(report, "p99");
    std::printf("         spacing error median %.2f, p99 %.2f, max %.2f ms%s\n", median, p99, spacing(report, "max"),
                median <= kBoundMedianMs && p99 <= kBoundP99Ms ? "" : "  (above 1 and 2 ms: is the machine busy?)");
    return verdict.whole && errors == 0;
}

int run(const std::string& file, const std::string& received, const std::string& address, const std::string& port) {
    const std::string command = std::filesystem::read_symlink("/proc/self/exe").parent_path() / "mcgate";
    const bool group = mcgate::host::isGroup(address);
    if (group && isSix(address)) demandLoopbackRoute(address, static_cast<std::uint16_t>(std::atoi(port.c_str())));
    const std::string local = !group ? "" : isSix(address) ? "?local=[::1]" : "?local=127.0.0.1";
    Side receiving("receive");
    Side sending("send");
    Child receiver({command, "receive", "udp://@" + inUrl(address) + ":" + port + local, "--out", received, "--report",
                    "json", "--idle-exit", "15"},
                   [&receiving](const std::string& line) { receiving.take(line); });
    waitForReceiver(receiver, receiving);
    Child sender({command, "send", file, "--to", "udp://" + inUrl(address) + ":" + port + local, "--report", "json"},
                 [&sending](const std::string& line) { sending.take(line); });
    const int sent = sender.wait();
    if (sent != 0 && field(sending.last(), "datagrams") == 0) throw std::runtime_error("the sender failed, see above");
    std::this_thread::sleep_for(std::chrono::seconds(1));  // what is on its way arrives
    receiver.stop();
    const int got = receiver.wait();
    const bool whole = tellVerdict(file, received, sending.last(), receiving.last());
    return sent == 0 && got == 0 && whole ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 5) {
        std::fprintf(stderr, "usage: mcgate-demo FILE RECEIVED ADDRESS PORT\n");
        return 2;
    }
    try {
        return run(argv[1], argv[2], argv[3], argv[4]);
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "mcgate-demo: %s\n", problem.what());
        return 1;
    }
}
