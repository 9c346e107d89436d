// What a sample costs on its way to the socket, beside a raw loop of blocking sends in the same run.

#include <benchmark/benchmark.h>

#include <vector>

#include "media/mem_allocator.h"
#include "network/net_sender.h"
#include "network/sock_udp_sender.h"
#include "platform/socket.h"

namespace {

namespace udp = quorvel::network::udp::lib_udp::v2_1;

constexpr std::size_t kDatagram = 1316;
constexpr std::uint16_t kDiscardPort = 25999;

udp::DestinationAddresses nowhere() { return udp::MakeDestinationAddresses("127.0.0.1", kDiscardPort, "127.0.0.1"); }

class QuietLog final : public quorvel::log::i_logger::v0::ILogger {
public:
    void Log(std::uint32_t, const char*, ...) override __attribute__((format(printf, 3, 4))) {}
};

void RawSend(benchmark::State& state) {
    auto socket = mcgate::platform::Socket::openDatagram(mcgate::platform::kFamilyIPv4);
    const std::vector<std::uint8_t> payload(kDatagram);
    const auto remote = nowhere().Remote;
    for (auto _ : state) benchmark::DoNotOptimize(socket.sendTo(payload.data(), payload.size(), remote));
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(RawSend);

// One iteration is one datagram, whatever the size of the samples.
void NetSenderSamples(benchmark::State& state) {
    QuietLog log;
    udp::NetSender sender(log);
    sender.setDestinations({nowhere()});
    const auto size = static_cast<std::size_t>(state.range(0));
    const std::vector<std::uint8_t> payload(size);
    for (auto _ : state) {
        for (std::size_t sent = 0; sent < kDatagram; sent += size) {
            sender.sendAggregated(payload.data(), static_cast<std::uint16_t>(size), 0);
        }
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(NetSenderSamples)->Arg(188)->Arg(1316);

void AllocatorRound(benchmark::State& state) {
    const mcgate::platform::ComPtr<CMemAllocator> pool(new CMemAllocator(nullptr));
    ALLOCATOR_PROPERTIES request{128, 2048, 1, 0};
    ALLOCATOR_PROPERTIES actual;
    pool->SetProperties(&request, &actual);
    pool->Commit();
    for (auto _ : state) {
        mcgate::platform::ComPtr<IMediaSample> sample;
        pool->GetBuffer(sample.put(), nullptr, nullptr, 0);
    }
    pool->Decommit();
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(AllocatorRound);

}  // namespace
