#include "media/host/base_output_pin.h"

#include <new>

#include "media/mem_allocator.h"

using mcgate::platform::ComPtr;

CBaseOutputPin::CBaseOutputPin(CBaseFilter* filter, CCritSec* lock, const WCHAR* name)
    : CBasePin(filter, lock, name, PINDIR_OUTPUT) {}

CBaseOutputPin::~CBaseOutputPin() = default;

HRESULT CBaseOutputPin::CheckConnect(IPin* peer) {
    const HRESULT status = CBasePin::CheckConnect(peer);
    if (FAILED(status)) return status;
    return peer->QueryInterface(IMemInputPin::iid, inputPin_.putVoid());
}

HRESULT CBaseOutputPin::CompleteConnect(IPin*) { return DecideAllocator(inputPin_.get(), allocator_.put()); }

HRESULT CBaseOutputPin::BreakConnect() {
    if (allocator_) allocator_->Decommit();
    allocator_.reset();
    inputPin_.reset();
    return CBasePin::BreakConnect();
}

HRESULT CBaseOutputPin::Active() { return allocator_ ? allocator_->Commit() : VFW_E_NO_ALLOCATOR; }

HRESULT CBaseOutputPin::Inactive() { return allocator_ ? allocator_->Decommit() : VFW_E_NO_ALLOCATOR; }

HRESULT CBaseOutputPin::DecideAllocator(IMemInputPin* pin, IMemAllocator** allocator) {
    *allocator = nullptr;
    ALLOCATOR_PROPERTIES required;
    if (FAILED(pin->GetAllocatorRequirements(&required))) required = {};
    if (required.cbAlign == 0) required.cbAlign = 1;

    const auto settle = [&](IMemAllocator* offered) {
        ALLOCATOR_PROPERTIES request = required;
        const HRESULT status = DecideBufferSize(offered, &request);
        return FAILED(status) ? status : pin->NotifyAllocator(offered, 0);
    };
    ComPtr<IMemAllocator> offered;
    if (SUCCEEDED(pin->GetAllocator(offered.put())) && SUCCEEDED(settle(offered.get()))) {
        *allocator = offered.detach();
        return S_OK;
    }
    HRESULT status = InitAllocator(offered.put());
    if (SUCCEEDED(status)) status = settle(offered.get());
    if (SUCCEEDED(status)) *allocator = offered.detach();
    return status;
}

HRESULT CBaseOutputPin::InitAllocator(IMemAllocator** allocator) {
    if (allocator == nullptr) return E_POINTER;
    *allocator = ComPtr<IMemAllocator>(new (std::nothrow) CMemAllocator(nullptr)).detach();
    return *allocator != nullptr ? S_OK : E_FAIL;
}

HRESULT CBaseOutputPin::GetDeliveryBuffer(IMediaSample** sample, REFERENCE_TIME* start, REFERENCE_TIME* stop,
                                          std::uint32_t flags) {
    return allocator_ ? allocator_->GetBuffer(sample, start, stop, flags) : E_NOINTERFACE;
}

HRESULT CBaseOutputPin::Deliver(IMediaSample* sample) {
    return inputPin_ ? inputPin_->Receive(sample) : VFW_E_NOT_CONNECTED;
}

HRESULT CBaseOutputPin::DeliverEndOfStream() {
    return IsConnected() ? GetConnected()->EndOfStream() : VFW_E_NOT_CONNECTED;
}
