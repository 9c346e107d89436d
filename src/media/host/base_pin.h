#pragma once

#include <atomic>
#include <string>

#include "media/host/base_filter.h"

/// One pin of a filter. Its references are the filter's: the filter owns it and outlives every reference.
/// Threads: graph threads under the lock given at construction (the filter's).
class CBasePin : public CUnknown, public IPin {
public:
    CBasePin(CBaseFilter* filter, CCritSec* lock, const WCHAR* name, PIN_DIRECTION direction);
    ~CBasePin() override;

    MCGATE_DECLARE_IUNKNOWN
    HRESULT NonDelegatingQueryInterface(const GUID& id, void** object) override;
    std::uint32_t NonDelegatingAddRef() override;
    std::uint32_t NonDelegatingRelease() override;

    HRESULT Connect(IPin* receivePin, const AM_MEDIA_TYPE* type) override;
    HRESULT ReceiveConnection(IPin* connector, const AM_MEDIA_TYPE* type) override;
    HRESULT Disconnect() override;
    HRESULT ConnectedTo(IPin** pin) override;
    HRESULT ConnectionMediaType(AM_MEDIA_TYPE* type) override;
    HRESULT QueryPinInfo(PIN_INFO* info) override;
    HRESULT QueryDirection(PIN_DIRECTION* direction) override;
    HRESULT QueryId(WCHAR** id) override;
    HRESULT QueryAccept(const AM_MEDIA_TYPE* type) override;
    HRESULT EnumMediaTypes(IEnumMediaTypes** types) override;
    HRESULT QueryInternalConnections(IPin** pins, std::uint32_t* count) override;
    HRESULT EndOfStream() override { return S_OK; }
    HRESULT BeginFlush() override { return E_UNEXPECTED; }
    HRESULT EndFlush() override { return E_UNEXPECTED; }
    HRESULT NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) override;

    /// S_OK accepts.
    virtual HRESULT CheckMediaType(const CMediaType* type) = 0;
    /// The type preferred at `position`, VFW_S_NO_MORE_ITEMS past the last.
    virtual HRESULT GetMediaType(int position, CMediaType* type);
    virtual HRESULT SetMediaType(const CMediaType* type);
    /// Look at the peer before, settle after, undo a connection.
    virtual HRESULT CheckConnect(IPin* peer);
    virtual HRESULT CompleteConnect(IPin* peer);
    virtual HRESULT BreakConnect() { return S_OK; }
    /// Called as the filter leaves the stopped state, as it starts to run, as it stops.
    virtual HRESULT Active() { return S_OK; }
    virtual HRESULT Run(REFERENCE_TIME) { return S_OK; }
    virtual HRESULT Inactive() { return S_OK; }

    bool IsConnected() const noexcept { return static_cast<bool>(connected_); }
    IPin* GetConnected() const noexcept { return connected_.get(); }
    const CMediaType& mediaType() const noexcept { return mediaType_; }
    const WCHAR* Name() const noexcept { return name_.c_str(); }
    std::int32_t mediaTypeVersion() const noexcept { return typeVersion_.load(); }
    CBaseFilter* filter() const noexcept { return filter_; }

protected:
    bool IsStopped() const noexcept { return filter_->IsStopped(); }
    HRESULT DisconnectInternal();
    /// Enumerators of media types made before the change are out of sync after it.
    void IncrementTypeVersion() noexcept { ++typeVersion_; }

    CBaseFilter* const filter_;
    CCritSec* const lock_;

private:
    HRESULT AgreeMediaType(IPin* receivePin, const CMediaType* type);
    HRESULT TryMediaTypes(IPin* receivePin, const CMediaType* partial, IEnumMediaTypes* types);
    HRESULT AttemptConnection(IPin* receivePin, const CMediaType* type);
    HRESULT join(IPin* receivePin, const CMediaType* type);
    /// CompleteConnect, with what it throws as its status.
    HRESULT finish(IPin* peer);

    const std::u16string name_;
    const PIN_DIRECTION direction_;
    mcgate::platform::ComPtr<IPin> connected_;
    CMediaType mediaType_;
    std::atomic<std::int32_t> typeVersion_{1};
};
