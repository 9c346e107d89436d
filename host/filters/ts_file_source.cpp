#include "filters/ts_file_source.h"
#include "filters/stopped_early.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <new>
#include <stdexcept>

#include "filters/data_id.h"
#include "filters/transport_stream_type.h"
#include "foundation/status.h"

namespace mcgate::host {

using platform::ComPtr;
using quorvel::system::thread::v1::Thread;

namespace {

constexpr std::size_t kPacketsPerSample = 7;
constexpr std::int32_t kSampleSize = static_cast<std::int32_t>(kPacketsPerSample * kPacketSize);
constexpr std::int32_t kFewestBuffers = 64;
constexpr std::int64_t kLead = kTicksPerSecond;
constexpr std::uint32_t kPoolSeconds = 4;
constexpr std::int32_t kPoolBytes = 64 * 1024 * 1024;
constexpr std::chrono::milliseconds kSettle{100};
constexpr std::uint32_t kFlushEndMs = 2;  // the send loop looks at its queue within microseconds of its last sample
constexpr std::uint64_t kProbeBytes = 8 * 1024 * 1024;

}  // namespace

class TsFileSource::Pin final : public CBaseOutputPin {
public:
    Pin(TsFileSource& source, CCritSec* lock) : CBaseOutputPin(&source, lock, u"Output"), source_(source) {}

    HRESULT CheckMediaType(const CMediaType* type) override { return checkTransportStream(*type); }
    HRESULT GetMediaType(int position, CMediaType* type) override {
        if (position != 0) return VFW_S_NO_MORE_ITEMS;
        *type = transportStreamType(source_.bitRate_);
        return S_OK;
    }
    // The sender asks for thirty seconds of the stream in small buffers. This source never runs that far ahead, so it
    // takes the seconds that it can use.
    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override {
        request->cbBuffer = std::max(request->cbBuffer, kSampleSize);
        const auto wanted = static_cast<std::int32_t>(kPoolSeconds * (source_.bitRate_ / 8) / kSampleSize);
        request->cBuffers =
            std::clamp(wanted, kFewestBuffers, std::max(kFewestBuffers, kPoolBytes / request->cbBuffer));
        ALLOCATOR_PROPERTIES actual;
        return allocator->SetProperties(request, &actual);
    }
    HRESULT Active() override {
        HRESULT status = CBaseOutputPin::Active();
        if (FAILED(status)) return status;
        status = source_.startStreaming();
        if (FAILED(status)) CBaseOutputPin::Inactive();
        return status;
    }
    HRESULT Inactive() override {
        source_.stopEvent_.set();
        const HRESULT status = CBaseOutputPin::Inactive();
        source_.stopStreaming();
        return status;
    }

private:
    TsFileSource& source_;
};

ComPtr<TsFileSource> TsFileSource::create(const TsFileSourceOptions& options) {
    ComPtr<TsFileSource> source(new TsFileSource(options));
    source->probe();
    return source;
}

TsFileSource::TsFileSource(const TsFileSourceOptions& options)
    : CBaseFilter(nullptr, nullptr, &filterLock_, GUID_NULL), options_(options), reader_(options.path) {
    pin_ = std::make_unique<Pin>(*this, &filterLock_);
}

TsFileSource::~TsFileSource() { stopStreaming(); }

CBasePin* TsFileSource::GetPin(int index) { return index == 0 ? pin_.get() : nullptr; }

SourceFigures TsFileSource::figures() {
    const std::lock_guard hold(figuresLock_);
    return figures_;
}

void TsFileSource::probe() {
    while (stamper_.bitRate() == 0) {
        if (options_.stopRequested()) throw StoppedEarly("stopped before " + options_.path + " gave its first packets");
        if (readPacket() == PacketReader::Result::End || reader_.bytesRead() > kProbeBytes) {
            throw std::runtime_error(whyUnpaced());
        }
    }
    settleRate();
    ready_.insert(ready_.end(), fresh_.begin(), fresh_.end());
    bitRate_ = stamper_.bitRate();
}

// A file gives a second to learn the rate from at once; a live input isn't waited for. What breaks off here does so
// again when the stream gets there.
void TsFileSource::settleRate() {
    const auto until = std::chrono::steady_clock::now() + kSettle;
    try {
        while (!stamper_.rateIsSettled() && std::chrono::steady_clock::now() < until &&
               reader_.bytesRead() <= kProbeBytes && readPacket() == PacketReader::Result::Packet) {
        }
    } catch (const std::runtime_error&) {
    }
}

PacketReader::Result TsFileSource::readPacket() {
    TsPacket packet;
    const auto result = reader_.next(packet);
    if (result == PacketReader::Result::Packet) {
        passIsEmpty_ = false;
        stamper_.add(packet.data(), fresh_);
    }
    return result;
}

std::string TsFileSource::whyUnpaced() const {
    const std::string begin = std::to_string(reader_.bytesRead()) + " bytes";
    return options_.path +
           (stamper_.references() > 1 ? " has program clock references more than 100 ms apart in its first " + begin
                                      : " carries no two program clock references within its first " + begin) +
           ", so its pace is unknown";
}

HRESULT TsFileSource::startStreaming() {
    streamClock_ = referenceClock();
    stopEvent_.reset();
    first_ = true;
    try {
        thread_ = std::make_unique<Thread>([this] { stream(); }, quorvel::system::thread::v1::kStartRunning);
        return S_OK;
    } catch (...) {
        return foundation::statusOfCurrentException();
    }
}

void TsFileSource::stopStreaming() {
    if (!thread_) return;
    stopEvent_.set();
    thread_->Wait();
    thread_.reset();
}

void TsFileSource::stream() {
    try {
        if (!deliverAll()) return;
        over_ = true;
        pin_->DeliverEndOfStream();
    } catch (...) {
        keepFailure();
        NotifyEvent(EC_ERRORABORT, E_FAIL, 0);
    }
}

// False when the stream was stopped.
bool TsFileSource::deliverAll() {
    do {
        if (!refill()) return false;
        while (ready_.size() > kPacketsPerSample || (ended_ && !ready_.empty())) {
            if (!deliverNext()) return false;
        }
    } while (!ended_);
    std::vector<StampedPacket> padding(kPacketsPerSample);
    for (auto& packet : padding) packet = {nullPacket(), lastTime_, false};
    return deliver(padding.data(), padding.size(), true) && waitUntilAllBack();
}

// False when the stream was stopped while it waited for input.
bool TsFileSource::refill() {
    fresh_.clear();
    while (fresh_.empty() && !ended_) {
        if (platform::wait(stopEvent_, 0)) return false;
        try {
            if (readPacket() == PacketReader::Result::End) ended_ = onEnd();
        } catch (...) {  // what was read before is good and goes on its way
            keepFailure();
            stamper_.finish(fresh_);
            ended_ = true;
        }
    }
    ready_.insert(ready_.end(), fresh_.begin(), fresh_.end());
    return true;
}

// A file that was emptied meanwhile has no next pass.
bool TsFileSource::onEnd() {
    if (options_.loop && !passIsEmpty_ && reader_.rewind()) {
        passIsEmpty_ = true;
        stamper_.restart(fresh_);
        return false;
    }
    stamper_.finish(fresh_);
    return true;
}

// False for a failure that a stop brings about: of this filter, or of the one downstream, which is stopped first.
bool TsFileSource::check(HRESULT status, const char* step) {
    if (SUCCEEDED(status)) return true;
    if (platform::wait(stopEvent_, 0) || status == VFW_E_WRONG_STATE || status == VFW_E_NOT_COMMITTED) return false;
    throw std::runtime_error(std::string("can't ") + step + ": " + GetStatusText(status));
}

void TsFileSource::keepFailure() noexcept {
    try {
        std::string text = foundation::textOfCurrentException();
        const std::lock_guard hold(figuresLock_);
        if (figures_.error.empty()) figures_.error = std::move(text);
    } catch (const std::bad_alloc&) {  // the event still ends the run
    }
}

bool TsFileSource::deliverNext() {
    std::array<StampedPacket, kPacketsPerSample> sample;
    std::size_t count = 0;
    while (count < sample.size() && !ready_.empty() && !(count > 0 && ready_.front().discontinuity)) {
        sample[count++] = ready_.front();
        ready_.pop_front();
    }
    lastTime_ = sample[count - 1].time;
    return deliver(sample.data(), count, false);
}

bool TsFileSource::deliver(const StampedPacket* packets, std::size_t count, bool padding) {
    const bool discontinuity = first_ || packets[0].discontinuity;
    first_ = false;
    // What is queued when a discontinuity comes leaves at once, so the lead must have left at its own pace by then.
    const bool flushes = discontinuity && options_.paced;
    if (flushes ? !waitUntilAllBack() : !waitForPace(packets[0].time)) return false;
    ComPtr<IMediaSample> sample;
    ComPtr<IMediaSample> spare;
    constexpr const char* kBuffer = "get a buffer for a sample";
    if (!check(pin_->GetDeliveryBuffer(sample.put(), nullptr, nullptr, 0), kBuffer)) return false;
    if (!check(pin_->GetDeliveryBuffer(spare.put(), nullptr, nullptr, 0), kBuffer)) return false;
    spare.reset();  // the sender finds this one free
    if (!check(fill(*sample, packets, count, discontinuity), "fill a sample")) return false;
    options_.beforeSample({nextId_++, count * kPacketSize, packets[0].time, discontinuity});
    if (!check(pin_->Deliver(sample.get()), "deliver a sample")) return false;
    sample.reset();
    if (flushes && !letFlushEnd(packets[0].time)) return false;
    const std::lock_guard hold(figuresLock_);
    ++figures_.samples;
    figures_.place = reader_.place();
    if (!padding) figures_.bytes += count * kPacketSize;
    return true;
}

HRESULT TsFileSource::fill(IMediaSample& sample, const StampedPacket* packets, std::size_t count, bool discontinuity) {
    std::uint8_t* data = nullptr;
    HRESULT status = sample.GetPointer(&data);
    if (SUCCEEDED(status)) status = sample.SetActualDataLength(static_cast<std::int32_t>(count * kPacketSize));
    if (SUCCEEDED(status)) status = sample.SetTime(&packets[0].time, nullptr);
    if (SUCCEEDED(status)) status = sample.SetDiscontinuity(discontinuity ? 1 : 0);
    if (FAILED(status)) return status;
    for (std::size_t i = 0; i < count; ++i) std::memcpy(data + i * kPacketSize, packets[i].bytes.data(), kPacketSize);
    setDataId(sample, nextId_);
    return S_OK;
}

// A discontinuity makes the sender send all that is queued without pacing until its queue is empty. A source that fills
// its lead meanwhile would see that lead leave in one burst. The lead begins anew from here.
bool TsFileSource::letFlushEnd(std::int64_t time) {
    if (!waitUntilAllBack() || platform::wait(stopEvent_, kFlushEndMs)) return false;
    REFERENCE_TIME now = 0;
    if (streamClock_ && SUCCEEDED(streamClock_->GetTime(&now))) clockOrigin_ = now - time;
    return true;
}

bool TsFileSource::waitForPace(std::int64_t time) {
    if (!options_.paced || !streamClock_) return !platform::wait(stopEvent_, 0);
    REFERENCE_TIME now = 0;
    if (FAILED(streamClock_->GetTime(&now))) return true;
    const std::int64_t early = time - (now - clockOrigin_) - kLead;
    const auto wait = static_cast<std::uint32_t>(std::max<std::int64_t>(early / kTicksPerMillisecond, 0));
    return !platform::wait(stopEvent_, wait);
}

// Every sample of the pool is back once the sender has sent the last one. False when the pool was decommitted: then the
// stream is being stopped.
bool TsFileSource::waitUntilAllBack() {
    ALLOCATOR_PROPERTIES pool;
    pin_->allocator()->GetProperties(&pool);
    std::vector<ComPtr<IMediaSample>> back(static_cast<std::size_t>(pool.cBuffers));
    return std::all_of(back.begin(), back.end(), [this](auto& one) {
        return check(pin_->GetDeliveryBuffer(one.put(), nullptr, nullptr, 0), "take the pool back");
    });
}

}  // namespace mcgate::host
