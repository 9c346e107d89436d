#include "soak/number_source.h"

#include <algorithm>

#include "filters/data_id.h"
#include "filters/transport_stream_type.h"
#include "media/host/base_output_pin.h"
#include "platform/clock.h"
#include "soak/numbered_sample.h"

namespace soak {

using mcgate::platform::ComPtr;
using quorvel::system::thread::v1::Thread;

namespace {

constexpr std::int64_t kTicksPerMs = 10'000;
constexpr std::int64_t kPeriod = 10'000'000 / 1500;
/// How long a sample waits in the sender.
constexpr std::int64_t kLead = 60 * kTicksPerMs;
constexpr std::int32_t kBuffers = 1024;
constexpr std::int64_t kSendingMs = 5000;
constexpr std::uint32_t kLookMs = 1;
constexpr std::uint32_t kFlushEndMs = 2;

// The number is the sample's data id, too, by which the sender tells what has left.
bool fill(IMediaSample& sample, std::uint32_t number, std::int64_t time, bool discontinuity) {
    std::uint8_t* data = nullptr;
    if (FAILED(sample.GetPointer(&data))) return false;
    writeNumber(data, number);
    if (FAILED(sample.SetActualDataLength(static_cast<std::int32_t>(kSampleSize)))) return false;
    if (FAILED(sample.SetTime(&time, nullptr))) return false;
    if (FAILED(sample.SetDiscontinuity(discontinuity ? 1 : 0))) return false;
    return mcgate::host::setDataId(sample, number);
}

}  // namespace

class NumberSource::Pin final : public CBaseOutputPin {
public:
    explicit Pin(NumberSource& source) : CBaseOutputPin(&source, &source.filterLock_, u"Output"), source_(source) {}

    HRESULT CheckMediaType(const CMediaType* type) override { return mcgate::host::checkTransportStream(*type); }
    HRESULT GetMediaType(int position, CMediaType* type) override {
        if (position != 0) return VFW_S_NO_MORE_ITEMS;
        *type = mcgate::host::transportStreamType(0);
        return S_OK;
    }
    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override {
        request->cBuffers = kBuffers;
        request->cbBuffer = std::max(request->cbBuffer, static_cast<std::int32_t>(kSampleSize));
        ALLOCATOR_PROPERTIES actual;
        return allocator->SetProperties(request, &actual);
    }
    HRESULT Active() override {
        const HRESULT status = CBaseOutputPin::Active();
        if (SUCCEEDED(status)) source_.startStreaming();
        return status;
    }
    HRESULT Inactive() override {
        source_.stopEvent_.set();
        const HRESULT status = CBaseOutputPin::Inactive();
        source_.stopStreaming();
        return status;
    }

private:
    NumberSource& source_;
};

ComPtr<NumberSource> NumberSource::create(const SoakTime& time, Handovers& handovers) {
    return ComPtr<NumberSource>(new NumberSource(time, handovers));
}

NumberSource::NumberSource(const SoakTime& time, Handovers& handovers)
    : CBaseFilter("Number source", nullptr, &filterLock_, GUID_NULL), time_(time), handovers_(handovers) {
    pin_ = std::make_unique<Pin>(*this);
}

NumberSource::~NumberSource() { stopStreaming(); }

CBasePin* NumberSource::GetPin(int index) { return index == 0 ? pin_.get() : nullptr; }

bool NumberSource::drain() {
    if (thread_) {
        drainEvent_.set();
        thread_->Wait();
        thread_.reset();
    }
    return healthy();
}

void NumberSource::startStreaming() {
    stopEvent_.reset();
    drainEvent_.reset();
    thread_ = std::make_unique<Thread>([this] { stream(); }, quorvel::system::thread::v1::kStartRunning);
}

void NumberSource::stopStreaming() {
    if (!thread_) return;
    stopEvent_.set();
    thread_->Wait();
    thread_.reset();
}

void NumberSource::stream() {
    std::int64_t due = mcgate::platform::monotonicTime();
    bool first = true;
    while (waitUntil(due - kLead)) {
        const std::uint32_t number = handovers_.last() + 1;
        handovers_.note(number, time_.now());
        if (!deliver(number, due, first)) return;
        // A discontinuity makes the sender send all that it has at once: the lead is given when that is over.
        if (first && !waitUntilSent(number)) return;
        if (first) mcgate::platform::wait(stopEvent_, kFlushEndMs);
        first = false;
        due += kPeriod;
    }
    if (!first && deliver(kPadding, due, false)) waitUntilSent(kPadding);
}

// False when the stream is to end.
bool NumberSource::waitUntil(std::int64_t time) {
    const std::int64_t early = time - mcgate::platform::monotonicTime();
    const auto wait = static_cast<std::uint32_t>(std::max<std::int64_t>(early / kTicksPerMs, 0));
    return mcgate::platform::waitAny({&stopEvent_, &drainEvent_}, wait) < 0;
}

bool NumberSource::waitUntilSent(std::uint32_t number) {
    const std::int64_t deadline = time_.now() + kSendingMs;
    while (sent_.load() != number) {
        if (mcgate::platform::wait(stopEvent_, kLookMs)) return false;
        if (time_.now() < deadline) continue;
        healthy_ = false;
        return false;
    }
    return true;
}

bool NumberSource::deliver(std::uint32_t number, std::int64_t time, bool discontinuity) {
    ComPtr<IMediaSample> sample;
    ComPtr<IMediaSample> spare;
    if (FAILED(pin_->GetDeliveryBuffer(sample.put(), nullptr, nullptr, 0))) return false;
    if (FAILED(pin_->GetDeliveryBuffer(spare.put(), nullptr, nullptr, 0))) return false;
    spare.reset();  // a sender that finds no buffer free takes its queue for full and drops the sample
    if (fill(*sample, number, time, discontinuity) && SUCCEEDED(pin_->Deliver(sample.get()))) return true;
    healthy_ = false;
    return false;
}

}  // namespace soak
