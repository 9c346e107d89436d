#include "command_runs.h"

#include <net/if.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <thread>

#include "demo/child.h"
#include "support/plain_sockets.h"
#include "ts/generator.h"
#include "ts/stream_meter.h"

namespace bench {

namespace {

constexpr const char* kGroup = "239.1.1.1";
constexpr std::uint16_t kPort = 5997;
constexpr std::size_t kDatagram = 1316;

std::filesystem::path binaries() { return std::filesystem::read_symlink("/proc/self/exe").parent_path(); }

/// A generated stream in a file that is gone with the object.
class StreamFile {
public:
    StreamFile(std::uint64_t rate, double seconds) {
        mcgate::host::Child child({(binaries() / "mcgate").string(), "generate", "--rate", std::to_string(rate),
                                   "--duration", std::to_string(seconds), "--out", path_.string()},
                                  [](const std::string&) {});
        if (child.wait() != 0) throw std::runtime_error("can't generate a stream");
    }
    ~StreamFile() { std::filesystem::remove(path_); }
    StreamFile(const StreamFile&) = delete;
    StreamFile& operator=(const StreamFile&) = delete;
    std::string path() const { return path_.string(); }
    double datagrams() const { return static_cast<double>(std::filesystem::file_size(path_) / kDatagram); }

private:
    const std::filesystem::path path_ =
        std::filesystem::temp_directory_path() / ("mcgate-bench-" + std::to_string(getpid()) + ".ts");
};

std::string sendUrl() { return "udp://" + std::string(kGroup) + ":" + std::to_string(kPort) + "?local=10.66.0.1"; }

Run rawCopy(const StreamFile& file) {
    const int descriptor = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ip_mreqn choice{};
    choice.imr_ifindex = static_cast<int>(if_nametoindex("mc0"));
    setsockopt(descriptor, IPPROTO_IP, IP_MULTICAST_IF, &choice, sizeof choice);
    const test::Endpoint remote(kGroup, kPort);
    std::ifstream input(file.path(), std::ios::binary);
    std::array<char, kDatagram> part{};
    const Run run = measure([&] {
        while (input.read(part.data(), part.size())) {
            sendto(descriptor, part.data(), part.size(), 0, remote.get(), remote.length);
        }
        return file.datagrams();
    });
    close(descriptor);
    return run;
}

Run wholeProcess(const StreamFile& file) {
    return measure([&] {
        mcgate::host::Child child({(binaries() / "mcgate").string(), "send", file.path(), "--to", sendUrl(),
                                   "--no-pacing", "--report", "none"},
                                  [](const std::string&) {});
        if (child.wait() != 0) throw std::runtime_error("mcgate send failed");
        return file.datagrams();
    });
}

/// Two processes that want all of the processors, for as long as it lives.
class BusyProcesses {
public:
    BusyProcesses() {
        for (pid_t& id : ids_) {
            id = fork();
            if (id == 0) {
                for (std::atomic<std::uint64_t> turns{0};;) turns.fetch_add(1, std::memory_order_relaxed);
            }
        }
    }
    ~BusyProcesses() {
        for (const pid_t id : ids_) {
            if (id <= 0) continue;
            kill(id, SIGKILL);
            waitpid(id, nullptr, 0);
        }
    }
    BusyProcesses(const BusyProcesses&) = delete;
    BusyProcesses& operator=(const BusyProcesses&) = delete;

private:
    std::array<pid_t, 2> ids_{};
};

/// Measures the spacing of what comes to the group in the other host, by the kernel's times.
class Probe {
public:
    explicit Probe(const test::TwoHosts& hosts) : socket_(test::listeningSocket(hosts.peer, kGroup, kPort, "mc1")) {
        const int on = 1;
        const int room = 8 << 20;
        setsockopt(socket_.get(), SOL_SOCKET, SO_TIMESTAMPNS, &on, sizeof on);
        setsockopt(socket_.get(), SOL_SOCKET, SO_RCVBUF, &room, sizeof room);
        thread_ = std::thread([this] { listen(); });
    }
    ~Probe() {
        ending_ = true;
        thread_.join();
    }
    Probe(const Probe&) = delete;
    Probe& operator=(const Probe&) = delete;
    mcgate::host::StreamMeter::Figures figures() const { return meter_.figures(); }

private:
    void listen() {
        pollfd watched{socket_.get(), POLLIN, 0};
        while (!ending_) {
            if (poll(&watched, 1, 20) == 1) take();
        }
    }
    void take() {
        std::array<std::uint8_t, 2048> data;
        alignas(cmsghdr) std::array<char, 128> control;
        iovec part{data.data(), data.size()};
        msghdr message{};
        message.msg_iov = &part;
        message.msg_iovlen = 1;
        message.msg_control = control.data();
        message.msg_controllen = control.size();
        const ssize_t size = recvmsg(socket_.get(), &message, MSG_DONTWAIT);
        const cmsghdr* header = CMSG_FIRSTHDR(&message);
        if (size <= 0 || header == nullptr || header->cmsg_type != SCM_TIMESTAMPNS) return;
        timespec when{};
        std::memcpy(&when, CMSG_DATA(header), sizeof when);
        meter_.add(data.data(), static_cast<std::size_t>(size), when.tv_sec * 10'000'000LL + when.tv_nsec / 100);
    }

    test::PlainSocket socket_;
    mcgate::host::StreamMeter meter_;
    std::atomic<bool> ending_{false};
    std::thread thread_;
};

std::string priorityIn(const std::string& report) {
    const auto at = report.find("\"priority\":\"");
    return at == std::string::npos ? "unknown" : report.substr(at + 12, report.find('"', at + 12) - at - 12);
}

}  // namespace

Comparison commandComparison(const test::TwoHosts&) {
    const StreamFile file(400'000'000, 20);
    return compare(
        "mcgate send as a whole process, its start and one second of waiting for its clock included", 0, 3,
        [&] { return rawCopy(file); }, [&] { return wholeProcess(file); });
}

Note spacingUnderLoad(const test::TwoHosts& hosts) {
    const StreamFile file(20'000'000, 15);
    const Probe probe(hosts);
    std::string last;
    {
        const BusyProcesses busy;
        mcgate::host::Child child(
            {(binaries() / "mcgate").string(), "send", file.path(), "--to", sendUrl(), "--report", "json"},
            [&last](const std::string& line) { last = line; });
        if (child.wait() != 0) throw std::runtime_error("mcgate send failed");
    }
    const auto figures = probe.figures();
    char text[200];
    std::snprintf(text, sizeof text, "median %.3f ms, p99 %.3f ms, max %.3f ms; priority got: %s",
                  figures.spacing.medianMs, figures.spacing.p99Ms, figures.spacing.maxMs, priorityIn(last).c_str());
    return {"spacing error of 20 Mbit/s beside two busy processes", text};
}

}  // namespace bench
