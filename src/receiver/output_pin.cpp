#include "receiver/output_pin.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <mutex>

#include "foundation/status.h"
#include "interfaces/class_ids.h"

namespace {

constexpr const char* kPoolName = "tvk_mcgate";
constexpr std::int32_t kFewestBuffers = 128;
constexpr std::int32_t kSmallestBuffer = 2048;
constexpr std::int32_t kTimeSize = 8;
constexpr std::int32_t kPayloadSize = 8;

bool isPair(const AM_MEDIA_TYPE& type, const GUID& major, const GUID& sub) {
    return type.majortype == major && type.subtype == sub;
}

// The datagram is 8 bytes of time in 100 ns, then 8 bytes of data; the sample becomes the data with that time.
HRESULT takeTimeFromPayload(IMediaSample& sample) {
    static_assert(std::endian::native == std::endian::little, "the time travels in little-endian order");
    std::uint8_t* data = nullptr;
    HRESULT status = sample.GetPointer(&data);
    if (FAILED(status)) return status;
    REFERENCE_TIME start = 0;
    std::memcpy(&start, data, kTimeSize);
    const auto stop = static_cast<REFERENCE_TIME>(static_cast<std::uint64_t>(start) + 1);
    status = sample.SetTime(&start, &stop);
    if (FAILED(status)) return status;
    std::memmove(data, data + kTimeSize, kPayloadSize);
    return sample.SetActualDataLength(kPayloadSize);
}

}  // namespace

CNetOutputPin::CNetOutputPin(CBaseFilter* filter, CCritSec* lock, std::function<ILogPerf&()> log)
    : CBaseOutputPin(filter, lock, u"MPEG-2 Transport"), log_(std::move(log)) {}

// A filter that is destroyed while active may have a pool committed that nobody else would decommit.
CNetOutputPin::~CNetOutputPin() {
    if (allocator() != nullptr) allocator()->Decommit();
}

HRESULT CNetOutputPin::CheckMediaType(const CMediaType* type) {
    if (type == nullptr) return E_POINTER;
    const bool known = isPair(*type, MEDIATYPE_Stream, MEDIASUBTYPE_MPEG2_TRANSPORT) ||
                       isPair(*type, MEDIATYPE_PrivateTimeStamped, MEDIASUBTYPE_PrivateTimeStamped);
    return known ? S_OK : S_FALSE;
}

HRESULT CNetOutputPin::GetMediaType(int position, CMediaType* type) {
    if (type == nullptr) return E_POINTER;
    switch (position) {
        case 0:
            *type = CMediaType(MEDIATYPE_Stream, MEDIASUBTYPE_MPEG2_TRANSPORT);
            return S_OK;
        case 1:
            *type = CMediaType(MEDIATYPE_PrivateTimeStamped, MEDIASUBTYPE_PrivateTimeStamped);
            return S_OK;
        default:
            return VFW_S_NO_MORE_ITEMS;
    }
}

HRESULT CNetOutputPin::DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) {
    if (allocator == nullptr || request == nullptr) return E_POINTER;
    request->cBuffers = std::max(request->cBuffers, kFewestBuffers);
    request->cbBuffer = std::max(request->cbBuffer, kSmallestBuffer);
    ALLOCATOR_PROPERTIES actual;
    const HRESULT status = allocator->SetProperties(request, &actual);
    if (FAILED(status)) return status;
    log_().DeclareBuffer(kPoolName);
    return S_OK;
}

HRESULT CNetOutputPin::GetDeliveryBuffer(IMediaSample** sample, REFERENCE_TIME* start, REFERENCE_TIME* stop,
                                         std::uint32_t flags) {
    mcgate::platform::ComPtr<IMemAllocator> pool;
    {
        const std::lock_guard hold(*lock_);
        const HRESULT status = CBaseOutputPin::GetDeliveryBuffer(sample, start, stop, flags | AM_GBF_NOWAIT);
        if (status != VFW_E_TIMEOUT) return FAILED(status) ? status : S_OK;
        pool = allocator();
    }
    return waitForBuffer(*pool, sample, start, stop, flags);
}

HRESULT CNetOutputPin::waitForBuffer(IMemAllocator& pool, IMediaSample** sample, REFERENCE_TIME* start,
                                     REFERENCE_TIME* stop, std::uint32_t flags) {
    log_().NotifyBufferFull(kPoolName);
    waiting_ = true;
    const HRESULT status = pool.GetBuffer(sample, start, stop, flags);
    waiting_ = false;
    return FAILED(status) ? status : S_OK;
}

bool CNetOutputPin::BreakWait() {
    mcgate::platform::ComPtr<IMemAllocator> pool;
    {
        const std::lock_guard hold(*lock_);
        pool = allocator();
    }
    if (!pool || !waiting_) return false;
    pool->Decommit();
    return true;
}

void CNetOutputPin::MendAfterBreak() {
    const std::lock_guard hold(*lock_);
    if (!filter_->IsStopped() && allocator() != nullptr) allocator()->Commit();
}

bool CNetOutputPin::isTimeStamped() const noexcept { return mediaType().subtype == MEDIASUBTYPE_PrivateTimeStamped; }

HRESULT CNetOutputPin::Deliver(IMediaSample* sample) {
    const std::lock_guard hold(*lock_);
    if (isTimeStamped()) {
        if (sample->GetActualDataLength() < kTimeSize + kPayloadSize) return S_OK;  // not of this stream
        const HRESULT status = takeTimeFromPayload(*sample);
        if (FAILED(status)) return status;
    }
    if (filter_->IsStopped() || !outputQueue_) return S_OK;
    sample->AddRef();
    outputQueue_->Receive(sample);
    return S_OK;
}

HRESULT CNetOutputPin::DeliverEndOfStream() {
    const std::lock_guard hold(*lock_);
    if (!outputQueue_) return S_OK;
    outputQueue_->EOS();
    outputQueue_->WaitUntilEmpty();
    return S_OK;
}

HRESULT CNetOutputPin::Active() {
    const std::lock_guard hold(*lock_);
    if (!IsConnected()) return S_OK;
    try {
        ALLOCATOR_PROPERTIES properties;
        if (allocator() != nullptr) allocator()->GetProperties(&properties);
        OutputQueueSettings settings;
        settings.automatic = true;
        settings.queue = false;
        settings.batchSize = 1;
        settings.batchExact = false;
        settings.listSize = properties.cBuffers + 1;
        settings.priority = 0;
        HRESULT status = S_OK;
        outputQueue_ = std::make_unique<COutputQueue>(GetConnected(), &status, settings);
        if (FAILED(status)) {
            outputQueue_.reset();
            return status;
        }
    } catch (...) {
        outputQueue_.reset();
        return mcgate::foundation::statusOfCurrentException();
    }
    CBaseOutputPin::Active();
    return S_OK;
}

HRESULT CNetOutputPin::Inactive() {
    const std::lock_guard hold(*lock_);
    outputQueue_.reset();
    CBaseOutputPin::Inactive();
    return S_OK;
}
