#pragma once

#include <memory>

#include "media/host/base_pin.h"

/// An input pin that takes samples through memory.
/// Threads: Receive on the upstream streaming thread, under a lock of the derived class's; the rest on graph threads.
class CBaseInputPin : public CBasePin, public IMemInputPin {
public:
    CBaseInputPin(CBaseFilter* filter, CCritSec* lock, const WCHAR* name);
    ~CBaseInputPin() override;

    MCGATE_DECLARE_IUNKNOWN
    HRESULT NonDelegatingQueryInterface(const GUID& id, void** object) override;

    /// The agreed allocator, or a CMemAllocator of its own; E_FAIL when that can't be made.
    HRESULT GetAllocator(IMemAllocator** allocator) override;
    HRESULT NotifyAllocator(IMemAllocator* allocator, std::int32_t readOnly) override;
    HRESULT GetAllocatorRequirements(ALLOCATOR_PROPERTIES* properties) override;
    /// Looks whether samples are welcome: VFW_E_WRONG_STATE when stopped, S_FALSE while flushing, VFW_E_RUNTIME_ERROR
    /// after one, in this order; then copies the sample's properties. A refused in-line type ends the stream:
    /// EndOfStream of this pin, then EC_ERRORABORT, and VFW_E_INVALIDMEDIATYPE.
    HRESULT Receive(IMediaSample* sample) override;
    HRESULT ReceiveMultiple(IMediaSample** samples, std::int32_t count, std::int32_t* processed) override;
    HRESULT ReceiveCanBlock() override { return S_OK; }
    HRESULT BeginFlush() override;
    HRESULT EndFlush() override;

    HRESULT BreakConnect() override;
    HRESULT Inactive() override;
    /// VFW_E_WRONG_STATE, S_FALSE, VFW_E_RUNTIME_ERROR or S_OK, as Receive tests first.
    HRESULT CheckStreaming() const noexcept;
    bool IsFlushing() const noexcept { return flushing_.load(std::memory_order_relaxed); }
    /// What Receive copied of the last sample; its pointers are good during that Receive only.
    const AM_SAMPLE2_PROPERTIES& SampleProps() const noexcept { return properties_; }
    IMemAllocator* allocator() const noexcept { return allocator_.get(); }

private:
    struct FreeType {
        void operator()(AM_MEDIA_TYPE* type) const noexcept { DeleteMediaType(type); }
    };

    HRESULT copyProperties(IMediaSample* sample);
    void copyPropertiesSingly(IMediaSample* sample);
    HRESULT checkInlineType();

    mcgate::platform::ComPtr<IMemAllocator> allocator_;
    std::atomic<bool> flushing_{false};
    std::atomic<bool> runTimeError_{false};
    AM_SAMPLE2_PROPERTIES properties_;
    std::unique_ptr<AM_MEDIA_TYPE, FreeType> inlineType_;  ///< of a sample that only gives copies
};
