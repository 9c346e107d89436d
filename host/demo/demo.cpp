// Carries a file from a sending process to a receiving one and tells whether it came whole.

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <filesystem>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>

#include "demo/child.h"
#include "demo/verdict.h"

namespace {

using mcgate::host::Child;
using nlohmann::json;

constexpr double kBoundMedianMs = 1.0;
constexpr double kBoundP99Ms = 2.0;

/// Shows the reports of one side as they come and keeps the last.
class Side {
public:
    explicit Side(std::string name) : name_(std::move(name)) {}

    void take(const std::string& line) {
        const json report = json::parse(line, nullptr, false);
        const std::lock_guard hold(lock_);
        if (!report.is_object() || report.contains("event")) {
            std::printf("%-8s %s\n", name_.c_str(), line.c_str());
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

bool isMulticast(const std::string& address) { return std::atoi(address.c_str()) >= 224; }

double spacing(const json& report, const char* key) {
    return report.contains("spacing_error_ms") ? report["spacing_error_ms"].value(key, 0.0) : 0.0;
}

// Waits until the receiver's first report has come: its socket is open then.
bool waitForReceiver(Side& side) {
    for (int i = 0; i < 100 && side.last().empty(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(100));
    return !side.last().empty();
}

bool tellVerdict(const std::string& sent, const std::string& received, const json& report) {
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
    std::printf("         continuity errors %llu\n", static_cast<unsigned long long>(errors));
    const double median = spacing(report, "median");
    const double p99 = spacing(report, "p99");
    std::printf("         spacing error median %.2f, p99 %.2f, max %.2f ms%s\n", median, p99, spacing(report, "max"),
                median <= kBoundMedianMs && p99 <= kBoundP99Ms ? "" : "  (above 1 and 2 ms: is the machine busy?)");
    return verdict.whole && errors == 0;
}

int run(const std::string& file, const std::string& received, const std::string& address, const std::string& port) {
    const std::string command = std::filesystem::read_symlink("/proc/self/exe").parent_path() / "mcgate";
    const std::string local = isMulticast(address) ? "?local=127.0.0.1" : "";
    Side receiving("receive");
    Side sending("send");
    Child receiver({command, "receive", "udp://@" + address + ":" + port + local, "--out", received, "--report", "json",
                    "--idle-exit", "15"},
                   [&receiving](const std::string& line) { receiving.take(line); });
    if (!waitForReceiver(receiving)) return 1;
    Child sender({command, "send", file, "--to", "udp://" + address + ":" + port + local, "--report", "json"},
                 [&sending](const std::string& line) { sending.take(line); });
    const int sent = sender.wait();
    std::this_thread::sleep_for(std::chrono::seconds(1));  // what is on its way arrives
    receiver.stop();
    const int got = receiver.wait();
    const bool whole = tellVerdict(file, received, receiving.last());
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
