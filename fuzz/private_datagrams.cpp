// The receiver's pin on the private time-stamped stream, given datagrams of any length and content, as the network
// gives them. An input is datagrams one behind another, each behind its length in two bytes, low byte first.

#include <algorithm>
#include <cstring>

#include "invariant.h"
#include "receiver/network_receiver_filter.h"
#include "support/calling_filter.h"

namespace {

using fuzz::invariant;
using mcgate::platform::ComPtr;

constexpr std::int32_t kRecord = 16;  // 8 bytes of time, 8 bytes of data
constexpr std::int32_t kHalf = 8;

/// Looks at a sample against the datagram that it was.
void check(IMediaSample& sample, const std::uint8_t* datagram) {
    std::uint8_t* data = nullptr;
    invariant(sample.GetPointer(&data) == S_OK, "a sample has memory");
    invariant(sample.GetActualDataLength() == kHalf, "a sample is 8 bytes, whatever its datagram was");
    REFERENCE_TIME start = 0;
    REFERENCE_TIME stop = 0;
    invariant(sample.GetTime(&start, &stop) == S_OK, "a sample has both times");
    invariant(static_cast<std::uint64_t>(stop) - static_cast<std::uint64_t>(start) == 1, "it lasts one tick");
    std::uint8_t again[kRecord];
    for (int i = 0; i < kHalf; ++i) again[i] = static_cast<std::uint8_t>(static_cast<std::uint64_t>(start) >> 8 * i);
    std::memcpy(again + kHalf, data, kHalf);
    invariant(std::equal(again, again + kRecord, datagram), "time and data are the datagram's first 16 bytes");
    invariant(sample.IsDiscontinuity() == S_FALSE && sample.IsSyncPoint() == S_FALSE, "it carries no flag");
}

/// The receiver with no socket, paused before that filter: nothing runs but what the input asks for.
class Road {
public:
    Road() {
        const CMediaType type(MEDIATYPE_PrivateTimeStamped, MEDIASUBTYPE_PrivateTimeStamped);
        invariant(pin().Connect(downstream_->GetPin(0), &type) == S_OK, "the stream type is taken");
        invariant(downstream_->Pause() == S_OK && receiver_->Pause() == S_OK, "an unconfigured receiver pauses");
    }
    ~Road() {
        receiver_->Stop();
        downstream_->Stop();
        pin().Disconnect();
        downstream_->GetPin(0)->Disconnect();
    }
    Road(const Road&) = delete;
    Road& operator=(const Road&) = delete;

    void carry(const std::uint8_t* datagram, std::int32_t length) {
        ComPtr<IMediaSample> sample;
        invariant(pin().GetDeliveryBuffer(sample.put(), nullptr, nullptr, 0) == S_OK, "every sample comes back");
        std::uint8_t* memory = nullptr;
        sample->GetPointer(&memory);
        const std::int32_t taken = std::min(length, sample->GetSize());
        if (taken != 0) std::memcpy(memory, datagram, static_cast<std::size_t>(taken));
        invariant(sample->SetActualDataLength(taken) == S_OK, "a datagram fits");
        datagram_ = datagram;
        samples_ = 0;
        invariant(pin().Deliver(sample.get()) == S_OK, "no datagram is a failure");
        invariant(samples_ == (length >= kRecord ? 1 : 0), "a whole record is a sample, a short one none");
    }

private:
    CNetOutputPin& pin() { return static_cast<CNetOutputPin&>(*receiver_->GetPin(0)); }

    const std::uint8_t* datagram_ = nullptr;
    int samples_ = 0;
    ComPtr<test::CallingFilter> downstream_{new test::CallingFilter(
        [this](IMediaSample& sample) {
            ++samples_;
            check(sample, datagram_);
            return S_OK;
        },
        S_FALSE)};
    ComPtr<CNetworkReceiverFilter> receiver_{new CNetworkReceiverFilter(nullptr)};
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static Road road;  // samples go round in its pool, so each meets what earlier ones left in memory
    while (size >= 2) {
        const std::size_t length = std::min(data[0] + std::size_t{256} * data[1], size - 2);
        road.carry(data + 2, static_cast<std::int32_t>(length));
        data += 2 + length;
        size -= 2 + length;
    }
    return 0;
}
