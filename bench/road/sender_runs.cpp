#include "sender_runs.h"

#include <net/if.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <memory>
#include <stdexcept>

#include "cli/module_loader.h"
#include "feeder.h"
#include "foundation/log_perf.h"
#include "graph/filter_graph.h"
#include "interfaces/class_ids.h"
#include "interfaces/i_sender_config.h"

namespace bench {

namespace {

constexpr const char* kGroup = "239.1.1.1";
constexpr const char* kLocal = "10.66.0.1";
constexpr std::uint16_t kPort = 5999;
constexpr std::size_t kDatagram = 1316;
constexpr std::int32_t kPoolBytes = 1'400'000;

class QuietLog final : public quorvel::log::log_perf::v4::DummyLogPerf {
public:
    void Log(std::uint32_t, const char*, ...) override __attribute__((format(printf, 3, 4))) {}
};

// Options as the sender sets them, so that the kernel does the same for both.
int rawSocket() {
    const int descriptor = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const int room = 6'553'600;
    const int hops = 64;
    ip_mreqn choice{};
    choice.imr_ifindex = static_cast<int>(if_nametoindex("mc0"));
    setsockopt(descriptor, SOL_SOCKET, SO_SNDBUF, &room, sizeof room);
    setsockopt(descriptor, IPPROTO_IP, IP_MULTICAST_TTL, &hops, sizeof hops);
    setsockopt(descriptor, IPPROTO_IP, IP_MULTICAST_IF, &choice, sizeof choice);
    return descriptor;
}

Run rawSends(int destinations, int datagrams) {
    std::vector<int> sockets(static_cast<std::size_t>(destinations));
    for (int& one : sockets) one = rawSocket();
    const test::Endpoint remote(kGroup, kPort);
    const std::array<char, kDatagram> payload{};
    const Run run = measure([&] {
        for (int i = 0; i < datagrams; ++i) {
            for (const int one : sockets) sendto(one, payload.data(), payload.size(), 0, remote.get(), remote.length);
        }
        return static_cast<double>(datagrams) * destinations;
    });
    for (const int one : sockets) close(one);
    return run;
}

Run senderRun(std::int32_t sampleSize, int destinations, int datagrams) {
    QuietLog log;
    const auto sender = mcgate::host::create<IBaseFilter>(CLSID_CNetworkSend);
    const auto input = mcgate::host::findPin(*sender, PINDIR_INPUT);
    const auto config = sender.query<ISenderConfig>();
    config->SetLogPerf(&log);
    config->EnablePacing(0);
    for (int i = 0; i < destinations; ++i) {
        std::int32_t index = -1;
        config->AddDestination(mcgate::platform::toWide(kGroup).c_str(), kPort,
                               mcgate::platform::toWide(kLocal).c_str(), &index);
    }
    const mcgate::platform::ComPtr<Feeder> feeder(new Feeder(sampleSize, kPoolBytes / sampleSize));
    if (FAILED(feeder->GetPin(0)->Connect(input.get(), nullptr)) || FAILED(sender->Run(0)) || FAILED(feeder->Run(0))) {
        throw std::runtime_error("the sending graph does not run");
    }
    const int samples = datagrams * static_cast<int>(kDatagram / static_cast<std::size_t>(sampleSize));
    const Run run = measure([&] {
        for (int i = 0; i < samples; ++i) {
            if (!feeder->deliver()) throw std::runtime_error("the sender refused a sample");
        }
        feeder->waitUntilAllBack();
        return static_cast<double>(datagrams) * destinations;
    });
    sender->Stop();
    feeder->Stop();
    feeder->GetPin(0)->Disconnect();
    input->Disconnect();
    config->SetLogPerf(nullptr);
    return run;
}

}  // namespace

test::PlainSocket joinGroup(const test::TwoHosts& hosts) {
    return test::listeningSocket(hosts.peer, kGroup, kPort, "mc1");
}

Comparison senderComparison(const std::string& name, double wanted, std::int32_t sampleSize, int destinations,
                            int datagrams) {
    constexpr int kRounds = 7;
    return compare(
        name, wanted, kRounds, [=] { return rawSends(destinations, datagrams); },
        [=] { return senderRun(sampleSize, destinations, datagrams); });
}

}  // namespace bench
