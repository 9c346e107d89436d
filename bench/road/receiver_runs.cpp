#include "receiver_runs.h"

#include <netinet/udp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <stdexcept>
#include <thread>

#include "cli/module_loader.h"
#include "graph/filter_graph.h"
#include "interfaces/class_ids.h"
#include "interfaces/i_source_config.h"
#include "media/host/base_filter.h"
#include "media/host/base_input_pin.h"
#include "support/plain_sockets.h"

#ifndef UDP_SEGMENT
#define UDP_SEGMENT 103
#endif

namespace bench {

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* kHere = "10.66.0.1";
constexpr std::uint16_t kPort = 5998;
constexpr int kDatagram = 1316;
constexpr int kSegments = 40;
constexpr std::chrono::seconds kLength{2};

/// Counts samples and lets them go; delivery comes on the receiver's own thread.
class Discarder final : public CBaseFilter {
public:
    Discarder() : CBaseFilter("Discarder", nullptr, &filterLock_, GUID_NULL), pin_(*this) {}
    int GetPinCount() override { return 1; }
    CBasePin* GetPin(int index) override { return index == 0 ? &pin_ : nullptr; }
    std::uint64_t count() const { return count_.load(std::memory_order_relaxed); }

private:
    class Pin final : public CBaseInputPin {
    public:
        explicit Pin(Discarder& owner) : CBaseInputPin(&owner, &owner.filterLock_, u"In"), owner_(owner) {}
        HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
        HRESULT ReceiveCanBlock() override { return S_FALSE; }
        HRESULT Receive(IMediaSample* sample) override {
            const HRESULT status = CBaseInputPin::Receive(sample);
            if (status == S_OK) owner_.count_.fetch_add(1, std::memory_order_relaxed);
            return status;
        }

    private:
        Discarder& owner_;
    };

    CCritSec filterLock_;
    std::atomic<std::uint64_t> count_{0};
    Pin pin_;
};

/// Sends from the other host: as fast as it goes, many datagrams a call, or at a rate.
class Flood {
public:
    Flood(const test::TwoHosts& hosts, int rate) {
        hosts.peer.run([this] { descriptor_ = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0); });
        const int size = kDatagram;
        setsockopt(descriptor_, IPPROTO_UDP, UDP_SEGMENT, &size, sizeof size);
        thread_ = std::thread([this, rate] { rate == 0 ? flood() : keepRate(rate); });
    }
    ~Flood() { stop(); }
    Flood(const Flood&) = delete;
    Flood& operator=(const Flood&) = delete;
    std::uint64_t stop() {
        ending_ = true;
        if (thread_.joinable()) {
            thread_.join();
            close(descriptor_);
        }
        return sent_;
    }

private:
    void send(int segments) {
        static const std::array<char, kDatagram * kSegments> payload{};
        const auto size = static_cast<std::size_t>(segments * kDatagram);
        if (sendto(descriptor_, payload.data(), size, 0, remote_.get(), remote_.length) > 0) {
            sent_ += static_cast<std::uint64_t>(segments);
        }
    }
    void flood() {
        while (!ending_) send(kSegments);
    }
    // Batches of ten: a hundredth of the socket's buffer.
    void keepRate(int rate) {
        constexpr int kBatch = 10;
        const auto begin = Clock::now();
        for (std::int64_t i = 0; !ending_; ++i) {
            const auto due = begin + std::chrono::nanoseconds(i * kBatch * 1'000'000'000LL / rate);
            while (Clock::now() < due) {
            }
            send(kBatch);
        }
    }

    const test::Endpoint remote_{kHere, kPort};
    int descriptor_ = -1;
    std::atomic<bool> ending_{false};
    std::uint64_t sent_ = 0;
    std::thread thread_;
};

Run rawReceives(const test::TwoHosts& hosts) {
    const int descriptor = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const int room = 0x100000;
    setsockopt(descriptor, SOL_SOCKET, SO_RCVBUF, &room, sizeof room);
    const test::Endpoint here(kHere, kPort);
    if (bind(descriptor, here.get(), here.length) != 0) throw std::runtime_error("can't bind");
    Flood flood(hosts, 0);
    std::array<char, 2048> buffer;
    const Run run = measure([&] {
        double count = 0;
        pollfd watched{descriptor, POLLIN, 0};
        for (const auto end = Clock::now() + kLength; Clock::now() < end;) {
            if (poll(&watched, 1, 100) == 1 && recv(descriptor, buffer.data(), buffer.size(), MSG_DONTWAIT) > 0)
                ++count;
        }
        return count;
    });
    flood.stop();
    close(descriptor);
    return run;
}

/// The receiving graph, running.
class Receiving {
public:
    Receiving() {
        receiver_.query<ISourceConfig>()->SetSource(kPort, mcgate::platform::toWide(kHere).c_str(), u"0.0.0.0", u"");
        if (FAILED(output_->Connect(sink_->GetPin(0), nullptr)) || FAILED(sink_->Run(0)) || FAILED(receiver_->Run(0))) {
            throw std::runtime_error("the receiving graph does not run");
        }
    }
    ~Receiving() {
        sink_->Stop();
        receiver_->Pause();
        receiver_->Stop();
        output_->Disconnect();
        sink_->GetPin(0)->Disconnect();
    }
    Receiving(const Receiving&) = delete;
    Receiving& operator=(const Receiving&) = delete;
    std::uint64_t count() const { return sink_->count(); }

private:
    const mcgate::platform::ComPtr<IBaseFilter> receiver_ =
        mcgate::host::create<IBaseFilter>(CLSID_CNetworkReceiverFilter);
    const mcgate::platform::ComPtr<IPin> output_ = mcgate::host::findPin(*receiver_, PINDIR_OUTPUT);
    const mcgate::platform::ComPtr<Discarder> sink_{new Discarder};
};

Run receiverRun(const test::TwoHosts& hosts) {
    const Receiving receiving;
    Flood flood(hosts, 0);
    return measure([&] {
        const std::uint64_t before = receiving.count();
        std::this_thread::sleep_for(kLength);
        return static_cast<double>(receiving.count() - before);
    });
}

}  // namespace

Comparison receiverComparison(const test::TwoHosts& hosts, double wanted) {
    constexpr int kRounds = 5;
    return compare(
        "receiver, from socket to a pin that discards, beside poll and recv", wanted, kRounds,
        [&] { return rawReceives(hosts); }, [&] { return receiverRun(hosts); });
}

Note lossAt(const test::TwoHosts& hosts, int rate) {
    const Receiving receiving;
    Flood flood(hosts, rate);
    std::this_thread::sleep_for(2 * kLength);
    const std::uint64_t sent = flood.stop();
    std::uint64_t received = receiving.count();
    for (int i = 0; i < 100 && received < sent; ++i) {  // what still lies in the socket
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        received = receiving.count();
    }
    return {"receiver at " + std::to_string(rate) + " datagrams a second for 4 s",
            std::to_string(sent) + " sent, " + std::to_string(sent - received) + " lost"};
}

}  // namespace bench
