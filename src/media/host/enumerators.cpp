#include "media/host/enumerators.h"

#include <algorithm>
#include <new>

#include "foundation/status.h"

CEnumPins::CEnumPins(CBaseFilter* filter, int position, std::int32_t version) noexcept
    : CUnknown(nullptr), filter_(filter), position_(position), version_(version) {}

HRESULT CEnumPins::NonDelegatingQueryInterface(const GUID& id, void** object) {
    if (id == IEnumPins::iid) return GetInterface(static_cast<IEnumPins*>(this), object);
    return CUnknown::NonDelegatingQueryInterface(id, object);
}

HRESULT CEnumPins::Next(std::uint32_t count, IPin** pins, std::uint32_t* fetched) {
    if (pins == nullptr) return E_POINTER;
    if (fetched == nullptr && count > 1) return E_INVALIDARG;
    if (fetched != nullptr) *fetched = 0;
    if (outOfSync()) return VFW_E_ENUM_OUT_OF_SYNC;
    std::uint32_t given = 0;
    while (given < count) {
        CBasePin* const pin = filter_->GetPin(position_);
        if (pin == nullptr) break;
        pin->AddRef();
        pins[given++] = pin;
        ++position_;
    }
    if (fetched != nullptr) *fetched = given;
    return given == count ? S_OK : S_FALSE;
}

HRESULT CEnumPins::Skip(std::uint32_t count) {
    if (outOfSync()) return VFW_E_ENUM_OUT_OF_SYNC;
    const auto left = static_cast<std::uint32_t>(std::max(0, filter_->GetPinCount() - position_));
    if (count > left) return S_FALSE;
    position_ += static_cast<int>(count);
    return S_OK;
}

HRESULT CEnumPins::Reset() {
    version_ = filter_->GetPinVersion();
    position_ = 0;
    return S_OK;
}

HRESULT CEnumPins::Clone(IEnumPins** copy) {
    if (copy == nullptr) return E_POINTER;
    *copy = nullptr;
    if (outOfSync()) return VFW_E_ENUM_OUT_OF_SYNC;
    auto* const made = new (std::nothrow) CEnumPins(filter_.get(), position_, version_);
    return made != nullptr ? GetInterface(static_cast<IEnumPins*>(made), reinterpret_cast<void**>(copy))
                           : E_OUTOFMEMORY;
}

CEnumMediaTypes::CEnumMediaTypes(CBasePin* pin, int position, std::int32_t version) noexcept
    : CUnknown(nullptr), pin_(pin), position_(position), version_(version) {}

HRESULT CEnumMediaTypes::NonDelegatingQueryInterface(const GUID& id, void** object) {
    if (id == IEnumMediaTypes::iid) return GetInterface(static_cast<IEnumMediaTypes*>(this), object);
    return CUnknown::NonDelegatingQueryInterface(id, object);
}

HRESULT CEnumMediaTypes::Next(std::uint32_t count, AM_MEDIA_TYPE** types, std::uint32_t* fetched) try {
    if (types == nullptr) return E_POINTER;
    if (fetched == nullptr && count > 1) return E_INVALIDARG;
    if (fetched != nullptr) *fetched = 0;
    if (outOfSync()) return VFW_E_ENUM_OUT_OF_SYNC;
    std::uint32_t given = 0;
    while (given < count) {
        CMediaType type;
        if (pin_->GetMediaType(position_, &type) != S_OK) break;
        types[given] = CreateMediaType(type);
        if (types[given] == nullptr) break;
        ++given;
        ++position_;
    }
    if (fetched != nullptr) *fetched = given;
    return given == count ? S_OK : S_FALSE;
} catch (...) {
    return mcgate::foundation::statusOfCurrentException();
}

HRESULT CEnumMediaTypes::Skip(std::uint32_t count) try {
    if (outOfSync()) return VFW_E_ENUM_OUT_OF_SYNC;
    for (std::uint32_t i = 0; i < count; ++i) {
        CMediaType type;
        if (pin_->GetMediaType(position_, &type) != S_OK) return S_FALSE;
        ++position_;
    }
    return S_OK;
} catch (...) {
    return mcgate::foundation::statusOfCurrentException();
}

HRESULT CEnumMediaTypes::Reset() {
    version_ = pin_->mediaTypeVersion();
    position_ = 0;
    return S_OK;
}

HRESULT CEnumMediaTypes::Clone(IEnumMediaTypes** copy) {
    if (copy == nullptr) return E_POINTER;
    *copy = nullptr;
    if (outOfSync()) return VFW_E_ENUM_OUT_OF_SYNC;
    auto* const made = new (std::nothrow) CEnumMediaTypes(pin_.get(), position_, version_);
    if (made == nullptr) return E_OUTOFMEMORY;
    return GetInterface(static_cast<IEnumMediaTypes*>(made), reinterpret_cast<void**>(copy));
}
