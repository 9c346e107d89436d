#pragma once

#include "media/host/base_pin.h"

/// An output pin that delivers samples through memory.
class CBaseOutputPin : public CBasePin {
public:
    CBaseOutputPin(CBaseFilter* filter, CCritSec* lock, const WCHAR* name);
    ~CBaseOutputPin() override;

    /// Asks the peer for IMemInputPin.
    HRESULT CheckConnect(IPin* peer) override;
    HRESULT CompleteConnect(IPin* peer) override;
    HRESULT BreakConnect() override;
    /// Commit and decommit the allocator; VFW_E_NO_ALLOCATOR without one.
    HRESULT Active() override;
    HRESULT Inactive() override;
    HRESULT BeginFlush() override { return E_UNEXPECTED; }
    HRESULT EndFlush() override { return E_UNEXPECTED; }

    /// Sets the allocator's properties, starting from what the input pin requires.
    virtual HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) = 0;
    /// Takes the input's requirements; offers its allocator first, then one's own, to DecideBufferSize and
    /// NotifyAllocator.
    virtual HRESULT DecideAllocator(IMemInputPin* pin, IMemAllocator** allocator);
    /// A CMemAllocator; E_FAIL when it can't be made.
    virtual HRESULT InitAllocator(IMemAllocator** allocator);
    /// E_NOINTERFACE without an allocator, else its GetBuffer.
    virtual HRESULT GetDeliveryBuffer(IMediaSample** sample, REFERENCE_TIME* start, REFERENCE_TIME* stop,
                                      std::uint32_t flags);
    /// To the peer, VFW_E_NOT_CONNECTED without one. The sample stays the caller's.
    virtual HRESULT Deliver(IMediaSample* sample);
    virtual HRESULT DeliverEndOfStream();

    IMemAllocator* allocator() const noexcept { return allocator_.get(); }
    IMemInputPin* inputPin() const noexcept { return inputPin_.get(); }

private:
    mcgate::platform::ComPtr<IMemAllocator> allocator_;
    mcgate::platform::ComPtr<IMemInputPin> inputPin_;
};
