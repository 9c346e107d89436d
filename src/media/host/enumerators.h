#pragma once
// The enumerators that filters and pins give out. Each holds its filter; one thread at a time.

#include "media/host/base_filter.h"
#include "media/host/base_pin.h"

/// Walks a filter's pins; VFW_E_ENUM_OUT_OF_SYNC once they have changed, until Reset.
class CEnumPins final : public CUnknown, public IEnumPins {
public:
    CEnumPins(CBaseFilter* filter, int position, std::int32_t version) noexcept;

    MCGATE_DECLARE_IUNKNOWN
    HRESULT NonDelegatingQueryInterface(const GUID& id, void** object) override;
    HRESULT Next(std::uint32_t count, IPin** pins, std::uint32_t* fetched) override;
    HRESULT Skip(std::uint32_t count) override;
    HRESULT Reset() override;
    HRESULT Clone(IEnumPins** copy) override;

private:
    bool outOfSync() const noexcept { return version_ != filter_->GetPinVersion(); }

    const mcgate::platform::ComPtr<CBaseFilter> filter_;
    int position_;
    std::int32_t version_;
};

/// Walks the media types that a pin prefers; VFW_E_ENUM_OUT_OF_SYNC once they have changed, until Reset.
class CEnumMediaTypes final : public CUnknown, public IEnumMediaTypes {
public:
    CEnumMediaTypes(CBasePin* pin, int position, std::int32_t version) noexcept;

    MCGATE_DECLARE_IUNKNOWN
    HRESULT NonDelegatingQueryInterface(const GUID& id, void** object) override;
    HRESULT Next(std::uint32_t count, AM_MEDIA_TYPE** types, std::uint32_t* fetched) override;
    HRESULT Skip(std::uint32_t count) override;
    HRESULT Reset() override;
    HRESULT Clone(IEnumMediaTypes** copy) override;

private:
    bool outOfSync() const noexcept { return version_ != pin_->mediaTypeVersion(); }

    const mcgate::platform::ComPtr<CBasePin> pin_;
    int position_;
    std::int32_t version_;
};
