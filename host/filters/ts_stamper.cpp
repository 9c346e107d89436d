#include "filters/ts_stamper.h"

#include <cstring>
#include <new>

#include "filters/data_id.h"
#include "filters/transport_stream_type.h"
#include "foundation/status.h"
#include "platform/clock.h"

namespace mcgate::host {

using platform::ComPtr;
using quorvel::system::thread::v1::Thread;

namespace {

constexpr std::int32_t kBufferSize = 2048;
constexpr std::uint32_t kLookMs = 50;
constexpr std::size_t kNullPackets = 7;

}  // namespace

class TsStamper::Input final : public CBaseInputPin {
public:
    explicit Input(TsStamper& owner) : CBaseInputPin(&owner, &owner.filterLock_, u"Input"), owner_(owner) {}

    HRESULT CheckMediaType(const CMediaType* type) override { return checkTransportStream(*type); }
    HRESULT GetAllocatorRequirements(ALLOCATOR_PROPERTIES* properties) override {
        *properties = {owner_.options_.buffers, kBufferSize, 1, 0};
        return S_OK;
    }
    HRESULT ReceiveCanBlock() override { return S_FALSE; }
    HRESULT Receive(IMediaSample* sample) override {
        const HRESULT status = CBaseInputPin::Receive(sample);
        return status == S_OK ? owner_.take(*sample) : status;
    }
    HRESULT EndOfStream() override;

private:
    TsStamper& owner_;
};

class TsStamper::Output final : public CBaseOutputPin {
public:
    explicit Output(TsStamper& owner) : CBaseOutputPin(&owner, &owner.filterLock_, u"Output"), owner_(owner) {}

    HRESULT CheckMediaType(const CMediaType* type) override { return checkTransportStream(*type); }
    HRESULT GetMediaType(int position, CMediaType* type) override {
        if (position != 0) return VFW_S_NO_MORE_ITEMS;
        *type = transportStreamType(0);
        return S_OK;
    }
    // The datagrams go on in the buffers in which they came.
    HRESULT DecideAllocator(IMemInputPin* pin, IMemAllocator** allocator) override {
        *allocator = nullptr;
        ComPtr<IMemAllocator> shared(owner_.input_->allocator());
        if (!shared) return VFW_E_NO_ALLOCATOR;
        const HRESULT status = pin->NotifyAllocator(shared.get(), 0);
        if (SUCCEEDED(status)) *allocator = shared.detach();
        return status;
    }
    HRESULT DecideBufferSize(IMemAllocator*, ALLOCATOR_PROPERTIES*) override { return S_OK; }  // decided upstream
    HRESULT Active() override {
        const HRESULT status = CBaseOutputPin::Active();
        if (FAILED(status)) return status;
        try {
            owner_.startWatching();
            return S_OK;
        } catch (...) {
            CBaseOutputPin::Inactive();
            return foundation::statusOfCurrentException();
        }
    }
    HRESULT Inactive() override {
        owner_.stopWatching();
        return CBaseOutputPin::Inactive();
    }

private:
    TsStamper& owner_;
};

HRESULT TsStamper::Input::EndOfStream() {
    owner_.finish();
    return owner_.output_->DeliverEndOfStream();
}

ComPtr<TsStamper> TsStamper::create(const TsStamperOptions& options) {
    return ComPtr<TsStamper>(new TsStamper(options));
}

TsStamper::TsStamper(const TsStamperOptions& options)
    : CBaseFilter(nullptr, nullptr, &filterLock_, GUID_NULL),
      options_(options),
      stamper_(options.silenceMs * kTicksPerMillisecond, options.paced) {
    input_ = std::make_unique<Input>(*this);
    output_ = std::make_unique<Output>(*this);
}

TsStamper::~TsStamper() { stopWatching(); }

CBasePin* TsStamper::GetPin(int index) {
    if (index == 0) return input_.get();
    return index == 1 ? output_.get() : nullptr;
}

StamperFigures TsStamper::figures() {
    const std::lock_guard hold(streamLock_);
    StamperFigures result = figures_;
    result.stream = meter_.figures();
    return result;
}

void TsStamper::startWatching() {
    stopEvent_.reset();
    thread_ = std::make_unique<Thread>([this] { watch(); }, quorvel::system::thread::v1::kStartRunning);
    const std::lock_guard hold(streamLock_);
    watching_ = true;
}

// What waits when the graph stops comes to nothing, as what the sender holds then does.
void TsStamper::stopWatching() {
    if (!thread_) return;
    stopEvent_.set();
    thread_->Wait();
    thread_.reset();
    const std::lock_guard hold(streamLock_);
    watching_ = false;
    stamps_.clear();
    stamper_.releaseAll(stamps_);
    waiting_.clear();
}

void TsStamper::watch() {
    while (!platform::wait(stopEvent_, kLookMs)) {
        try {
            look();
        } catch (const std::bad_alloc&) {  // the next look may do better
        }
    }
}

void TsStamper::look() {
    const std::lock_guard hold(streamLock_);
    const std::int64_t now = platform::monotonicTime();
    stamps_.clear();
    stamper_.releaseOverdue(now, stamps_);
    deliverStamped();
    if (now - lastArrival_ >= options_.silenceMs * kTicksPerMillisecond) pushTail(now);
}

HRESULT TsStamper::take(IMediaSample& sample) noexcept {
    try {
        takeDatagram(sample);
        return S_OK;
    } catch (...) {
        const HRESULT status = foundation::statusOfCurrentException();
        NotifyEvent(EC_ERRORABORT, status, 0);
        return status;
    }
}

void TsStamper::takeDatagram(IMediaSample& sample) {
    const std::lock_guard hold(streamLock_);
    if (!watching_) return;
    const std::int64_t now = platform::monotonicTime();
    std::uint8_t* data = nullptr;
    if (FAILED(sample.GetPointer(&data))) return;
    const auto size = static_cast<std::size_t>(sample.GetActualDataLength());
    ++figures_.datagrams;
    figures_.bytes += size;
    lastArrival_ = now;
    tailIsOut_ = false;
    meter_.add(data, size, now);
    stamps_.clear();
    waiting_.emplace_back(&sample);
    stamper_.add(data, size, now, stamps_);
    if (waiting_.size() - stamps_.size() > static_cast<std::size_t>(options_.buffers) / 2) stamper_.releaseAll(stamps_);
    deliverStamped();
}

// At the end of the stream.
void TsStamper::finish() noexcept {
    try {
        const std::lock_guard hold(streamLock_);
        stamps_.clear();
        stamper_.releaseAll(stamps_);
        deliverStamped();
        pushTail(platform::monotonicTime());
    } catch (const std::bad_alloc&) {  // what waits comes to nothing
    }
}

// With streamLock_ held.
void TsStamper::pushTail(std::int64_t now) {
    if (tailIsOut_ || !stamper_.atPacketBoundary()) return;
    tailIsOut_ = true;
    ComPtr<IMediaSample> sample;
    if (FAILED(output_->GetDeliveryBuffer(sample.put(), nullptr, nullptr, AM_GBF_NOWAIT))) return;
    std::uint8_t* data = nullptr;
    if (FAILED(sample->GetPointer(&data))) return;
    const TsPacket packet = nullPacket();
    for (std::size_t i = 0; i < kNullPackets; ++i) std::memcpy(data + i * kPacketSize, packet.data(), kPacketSize);
    sample->SetActualDataLength(kNullPackets * kPacketSize);
    deliver(*sample, {now, false});
}

// With streamLock_ held.
void TsStamper::deliverStamped() {
    for (const DatagramStamp& stamp : stamps_) {
        const ComPtr<IMediaSample> sample = std::move(waiting_.front());
        waiting_.pop_front();
        deliver(*sample, stamp);
    }
    stamps_.clear();
}

// With streamLock_ held.
void TsStamper::deliver(IMediaSample& sample, const DatagramStamp& stamp) {
    sample.SetTime(&stamp.time, nullptr);
    sample.SetDiscontinuity(stamp.discontinuity ? 1 : 0);
    if (stamper_.bitRate() == 0) rateIsTold_ = false;
    if (stamper_.bitRate() != 0 && !rateIsTold_) tellRate(sample);
    setDataId(sample, nextId_);
    options_.beforeSample(
        {nextId_++, static_cast<std::size_t>(sample.GetActualDataLength()), stamp.time, stamp.discontinuity});
    ++figures_.samples;
    output_->Deliver(&sample);
}

void TsStamper::tellRate(IMediaSample& sample) {
    CMediaType type = transportStreamType(stamper_.bitRate());
    rateIsTold_ = SUCCEEDED(sample.SetMediaType(&type));
}

}  // namespace mcgate::host
