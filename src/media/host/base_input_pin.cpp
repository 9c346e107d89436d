#include "media/host/base_input_pin.h"

#include <mutex>
#include <new>

#include "foundation/status.h"
#include "media/mem_allocator.h"

using mcgate::platform::ComPtr;

CBaseInputPin::CBaseInputPin(CBaseFilter* filter, CCritSec* lock, const WCHAR* name)
    : CBasePin(filter, lock, name, PINDIR_INPUT) {}

CBaseInputPin::~CBaseInputPin() = default;

HRESULT CBaseInputPin::NonDelegatingQueryInterface(const GUID& id, void** object) {
    if (id == IMemInputPin::iid) return GetInterface(static_cast<IMemInputPin*>(this), object);
    return CBasePin::NonDelegatingQueryInterface(id, object);
}

HRESULT CBaseInputPin::GetAllocator(IMemAllocator** allocator) {
    if (allocator == nullptr) return E_POINTER;
    *allocator = nullptr;
    const std::lock_guard hold(*lock_);
    if (!allocator_) allocator_ = new (std::nothrow) CMemAllocator(nullptr);
    if (!allocator_) return E_FAIL;
    *allocator = ComPtr<IMemAllocator>(allocator_).detach();
    return S_OK;
}

HRESULT CBaseInputPin::NotifyAllocator(IMemAllocator* allocator, std::int32_t) {
    if (allocator == nullptr) return E_POINTER;
    const std::lock_guard hold(*lock_);
    allocator_ = allocator;
    return S_OK;
}

HRESULT CBaseInputPin::GetAllocatorRequirements(ALLOCATOR_PROPERTIES*) { return E_NOTIMPL; }

HRESULT CBaseInputPin::CheckStreaming() const noexcept {
    if (IsStopped()) return VFW_E_WRONG_STATE;
    if (IsFlushing()) return S_FALSE;
    return runTimeError_.load(std::memory_order_relaxed) ? VFW_E_RUNTIME_ERROR : S_OK;
}

HRESULT CBaseInputPin::Receive(IMediaSample* sample) {
    if (sample == nullptr) return E_POINTER;
    HRESULT status = CheckStreaming();
    if (status != S_OK) return status;
    status = copyProperties(sample);
    if (FAILED(status)) return status;
    return (properties_.dwSampleFlags & AM_SAMPLE_TYPECHANGED) != 0 ? checkInlineType() : S_OK;
}

HRESULT CBaseInputPin::copyProperties(IMediaSample* sample) {
    inlineType_.reset();
    properties_ = {};
    void* found = nullptr;
    if (SUCCEEDED(sample->QueryInterface(IMediaSample2::iid, &found))) {
        const auto sample2 = ComPtr<IMediaSample2>::attach(static_cast<IMediaSample2*>(found));
        return sample2->GetProperties(sizeof properties_, reinterpret_cast<std::uint8_t*>(&properties_));
    }
    copyPropertiesSingly(sample);
    return sample->GetPointer(&properties_.pbBuffer);
}

void CBaseInputPin::copyPropertiesSingly(IMediaSample* sample) {
    properties_.cbData = sizeof properties_;
    properties_.lActual = sample->GetActualDataLength();
    properties_.cbBuffer = sample->GetSize();
    std::uint32_t flags = 0;
    if (sample->IsDiscontinuity() == S_OK) flags |= AM_SAMPLE_DATADISCONTINUITY;
    if (sample->IsPreroll() == S_OK) flags |= AM_SAMPLE_PREROLL;
    if (sample->IsSyncPoint() == S_OK) flags |= AM_SAMPLE_SPLICEPOINT;
    const HRESULT timed = sample->GetTime(&properties_.tStart, &properties_.tStop);
    if (SUCCEEDED(timed)) flags |= AM_SAMPLE_TIMEVALID;
    if (timed == S_OK) flags |= AM_SAMPLE_STOPVALID;
    AM_MEDIA_TYPE* type = nullptr;
    if (sample->GetMediaType(&type) == S_OK) {
        inlineType_.reset(type);
        properties_.pMediaType = type;
        flags |= AM_SAMPLE_TYPECHANGED;
    }
    properties_.dwSampleFlags = flags;
}

HRESULT CBaseInputPin::checkInlineType() try {
    if (properties_.pMediaType == nullptr) return S_OK;  // a change to nothing is none
    const CMediaType type(*properties_.pMediaType);
    if (CheckMediaType(&type) == S_OK) return S_OK;
    runTimeError_.store(true, std::memory_order_relaxed);
    EndOfStream();
    filter_->NotifyEvent(EC_ERRORABORT, VFW_E_TYPE_NOT_ACCEPTED, 0);
    return VFW_E_INVALIDMEDIATYPE;
} catch (...) {
    return mcgate::foundation::statusOfCurrentException();
}

HRESULT CBaseInputPin::ReceiveMultiple(IMediaSample** samples, std::int32_t count, std::int32_t* processed) {
    if (samples == nullptr || processed == nullptr) return E_POINTER;
    for (*processed = 0; *processed < count; ++*processed) {
        const HRESULT status = Receive(samples[*processed]);
        if (status != S_OK) return status;
    }
    return S_OK;
}

HRESULT CBaseInputPin::BeginFlush() {
    const std::lock_guard hold(*lock_);
    flushing_.store(true, std::memory_order_relaxed);
    return S_OK;
}

HRESULT CBaseInputPin::EndFlush() {
    const std::lock_guard hold(*lock_);
    flushing_.store(false, std::memory_order_relaxed);
    return S_OK;
}

HRESULT CBaseInputPin::BreakConnect() {
    if (allocator_) allocator_->Decommit();  // ends an upstream wait that a failed activation left behind
    allocator_.reset();
    return CBasePin::BreakConnect();
}

HRESULT CBaseInputPin::Inactive() {
    runTimeError_.store(false, std::memory_order_relaxed);
    if (!allocator_) return VFW_E_NO_ALLOCATOR;
    flushing_.store(false, std::memory_order_relaxed);
    return allocator_->Decommit();  // ends an upstream wait for a free sample
}
