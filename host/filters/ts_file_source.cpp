#include "filters/ts_file_source.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <stdexcept>

namespace mcgate::host {

using platform::ComPtr;
using quorvel::system::thread::v1::Thread;

namespace {

constexpr std::size_t kPacketsPerSample = 7;
constexpr std::int32_t kSampleSize = static_cast<std::int32_t>(kPacketsPerSample * kPacketSize);
constexpr std::int32_t kFewestBuffers = 64;
constexpr std::int64_t kLead = kTicksPerSecond;
constexpr std::uint32_t kPoolSeconds = 4;
constexpr std::uint32_t kFlushEndMs = 2;  // the send loop looks at its queue within microseconds of its last sample
constexpr std::uint64_t kProbeBytes = 8 * 1024 * 1024;

}  // namespace

class TsFileSource::Pin final : public CBaseOutputPin {
public:
    Pin(TsFileSource& source, CCritSec* lock) : CBaseOutputPin(&source, lock, u"Output"), source_(source) {}

    HRESULT CheckMediaType(const CMediaType* type) override {
        const bool known = type->majortype == MEDIATYPE_Stream && type->subtype == MEDIASUBTYPE_MPEG2_TRANSPORT;
        return known ? S_OK : S_FALSE;
    }
    HRESULT GetMediaType(int position, CMediaType* type) override {
        if (position != 0) return VFW_S_NO_MORE_ITEMS;
        *type = CMediaType(MEDIATYPE_Stream, MEDIASUBTYPE_MPEG2_TRANSPORT);
        const AM_MPEGSYSTEMTYPE block{source_.bitRate_, 0};
        type->SetFormat(FORMAT_MPEGStreams, &block, sizeof block);
        return S_OK;
    }
    // The sender asks for thirty seconds of the stream in small buffers. This source never runs that far ahead, so it
    // takes the seconds that it can use.
    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override {
        const auto wanted = static_cast<std::int32_t>(kPoolSeconds * (source_.bitRate_ / 8) / kSampleSize);
        request->cBuffers = std::max(wanted, kFewestBuffers);
        request->cbBuffer = std::max(request->cbBuffer, kSampleSize);
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
    TsPacket packet;
    while (stamper_.bitRate() == 0) {
        if (options_.stopRequested())
            throw std::runtime_error("stopped before " + options_.path + " gave its first packets");
        const auto result = reader_.next(packet);
        if (result == PacketReader::Result::End || reader_.bytesRead() > kProbeBytes) {
            throw std::runtime_error(options_.path + " carries no two program clock references within its first " +
                                     std::to_string(reader_.bytesRead()) + " bytes, so its pace is unknown");
        }
        if (result == PacketReader::Result::Packet) stamper_.add(packet.data(), fresh_);
    }
    ready_.insert(ready_.end(), fresh_.begin(), fresh_.end());
    bitRate_ = stamper_.bitRate();
}

void TsFileSource::startStreaming() {
    streamClock_ = referenceClock();
    stopEvent_.reset();
    first_ = true;
    thread_ = std::make_unique<Thread>([this] { stream(); }, quorvel::system::thread::v1::kStartRunning);
}

void TsFileSource::stopStreaming() {
    if (!thread_) return;
    stopEvent_.set();
    thread_->Wait();
    thread_.reset();
}

void TsFileSource::stream() {
    try {
        while (!platform::wait(stopEvent_, 0) && refill()) {
            while (ready_.size() > kPacketsPerSample || (ended_ && !ready_.empty())) {
                if (!deliverNext()) return;
            }
            if (!ended_) continue;
            std::vector<StampedPacket> padding(kPacketsPerSample);
            for (auto& packet : padding) packet = {nullPacket(), lastTime_, false};
            if (!deliver(padding.data(), padding.size(), true)) return;
            waitUntilAllBack();
            break;
        }
    } catch (const std::exception& failure) {
        const std::lock_guard hold(figuresLock_);
        figures_.error = failure.what();
    }
    if (!platform::wait(stopEvent_, 0)) pin_->DeliverEndOfStream();
}

// False when the stream was stopped while it waited for input.
bool TsFileSource::refill() {
    TsPacket packet;
    fresh_.clear();
    while (fresh_.empty() && !ended_) {
        switch (reader_.next(packet)) {
            case PacketReader::Result::Packet:
                stamper_.add(packet.data(), fresh_);
                break;
            case PacketReader::Result::End:
                ended_ = onEnd();
                break;
            case PacketReader::Result::Nothing:
                if (platform::wait(stopEvent_, 0)) return false;
                break;
        }
    }
    ready_.insert(ready_.end(), fresh_.begin(), fresh_.end());
    return true;
}

bool TsFileSource::onEnd() {
    if (options_.loop && reader_.rewind()) {
        stamper_.restart(fresh_);
        return false;
    }
    stamper_.finish(fresh_);
    return true;
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
    if (FAILED(pin_->GetDeliveryBuffer(sample.put(), nullptr, nullptr, 0))) return false;
    if (FAILED(pin_->GetDeliveryBuffer(spare.put(), nullptr, nullptr, 0))) return false;
    spare.reset();  // the sender finds this one free
    if (!fill(*sample, packets, count) || FAILED(sample->SetDiscontinuity(discontinuity ? 1 : 0))) return false;
    options_.beforeSample(nextId_++, count * kPacketSize);
    if (FAILED(pin_->Deliver(sample.get()))) return false;
    sample.reset();
    if (flushes && !letFlushEnd(packets[0].time)) return false;
    const std::lock_guard hold(figuresLock_);
    ++figures_.samples;
    if (!padding) figures_.bytes += count * kPacketSize;
    return true;
}

bool TsFileSource::fill(IMediaSample& sample, const StampedPacket* packets, std::size_t count) {
    std::uint8_t* data = nullptr;
    if (FAILED(sample.GetPointer(&data))) return false;
    for (std::size_t i = 0; i < count; ++i) std::memcpy(data + i * kPacketSize, packets[i].bytes.data(), kPacketSize);
    const REFERENCE_TIME time = packets[0].time;
    if (FAILED(sample.SetActualDataLength(static_cast<std::int32_t>(count * kPacketSize)))) return false;
    if (FAILED(sample.SetTime(&time, nullptr))) return false;
    void* found = nullptr;
    if (FAILED(sample.QueryInterface(IMediaSample3::iid, &found))) return true;
    const auto extended = ComPtr<IMediaSample3>::attach(static_cast<IMediaSample3*>(found));
    std::array<std::uint8_t, sizeof nextId_> id;
    std::memcpy(id.data(), &nextId_, sizeof nextId_);
    extended->SetMetaData(static_cast<std::int32_t>(MediaDataKey::DataId), id.data(), sizeof nextId_);
    return true;
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
        return SUCCEEDED(pin_->GetDeliveryBuffer(one.put(), nullptr, nullptr, 0));
    });
}

}  // namespace mcgate::host
