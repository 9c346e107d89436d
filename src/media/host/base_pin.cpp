#include "media/host/base_pin.h"

#include <cstring>
#include <new>

#include "foundation/status.h"
#include "media/host/enumerators.h"

using mcgate::foundation::statusOfCurrentException;
using mcgate::platform::ComPtr;

namespace {

/// A refusal without a reason of its own says only that the type was not liked.
HRESULT refusal(HRESULT status) noexcept {
    const bool plain = SUCCEEDED(status) || status == E_FAIL || status == E_INVALIDARG;
    return plain ? VFW_E_TYPE_NOT_ACCEPTED : status;
}

}  // namespace

CBasePin::CBasePin(CBaseFilter* filter, CCritSec* lock, const WCHAR* name, PIN_DIRECTION direction)
    : CUnknown(nullptr), filter_(filter), lock_(lock), name_(name != nullptr ? name : u""), direction_(direction) {}

CBasePin::~CBasePin() = default;

HRESULT CBasePin::NonDelegatingQueryInterface(const GUID& id, void** object) {
    if (id == IPin::iid) return GetInterface(static_cast<IPin*>(this), object);
    return CUnknown::NonDelegatingQueryInterface(id, object);
}

std::uint32_t CBasePin::NonDelegatingAddRef() { return filter_->AddRef(); }

std::uint32_t CBasePin::NonDelegatingRelease() { return filter_->Release(); }

HRESULT CBasePin::Connect(IPin* receivePin, const AM_MEDIA_TYPE* type) try {
    if (receivePin == nullptr) return E_POINTER;
    const std::lock_guard hold(*lock_);
    if (IsConnected()) return VFW_E_ALREADY_CONNECTED;
    if (!IsStopped()) return VFW_E_NOT_STOPPED;
    if (type == nullptr) return AgreeMediaType(receivePin, nullptr);
    const CMediaType wanted(*type);
    return AgreeMediaType(receivePin, &wanted);
} catch (...) {
    return statusOfCurrentException();
}

HRESULT CBasePin::AgreeMediaType(IPin* receivePin, const CMediaType* type) {
    if (type != nullptr && type->IsFullySpecified()) return AttemptConnection(receivePin, type);
    HRESULT failure = VFW_E_NO_ACCEPTABLE_TYPES;
    for (IPin* preferring : {receivePin, static_cast<IPin*>(this)}) {
        ComPtr<IEnumMediaTypes> types;
        if (FAILED(preferring->EnumMediaTypes(types.put()))) continue;
        const HRESULT status = TryMediaTypes(receivePin, type, types.get());
        if (SUCCEEDED(status)) return S_OK;
        if (status != VFW_E_NO_ACCEPTABLE_TYPES) failure = status;
    }
    return failure;
}

HRESULT CBasePin::TryMediaTypes(IPin* receivePin, const CMediaType* partial, IEnumMediaTypes* types) {
    HRESULT failure = VFW_E_NO_ACCEPTABLE_TYPES;
    AM_MEDIA_TYPE* next = nullptr;
    while (types->Next(1, &next, nullptr) == S_OK) {
        const struct Owner {
            AM_MEDIA_TYPE* type;
            ~Owner() { DeleteMediaType(type); }
        } owner{next};
        const CMediaType type(*next);
        if (partial != nullptr && !type.MatchesPartial(*partial)) continue;
        const HRESULT status = AttemptConnection(receivePin, &type);
        if (SUCCEEDED(status)) return S_OK;
        // What says more than "not this type" is worth telling in the end.
        if (refusal(status) != VFW_E_TYPE_NOT_ACCEPTED) failure = status;
    }
    return failure;
}

HRESULT CBasePin::AttemptConnection(IPin* receivePin, const CMediaType* type) {
    HRESULT status = CheckConnect(receivePin);
    if (FAILED(status)) {
        BreakConnect();
        return status;
    }
    status = CheckMediaType(type);
    if (status != S_OK) {
        BreakConnect();
        return refusal(status);
    }
    connected_ = receivePin;
    status = join(receivePin, type);
    if (SUCCEEDED(status)) return S_OK;
    BreakConnect();
    connected_.reset();
    return status;
}

HRESULT CBasePin::join(IPin* receivePin, const CMediaType* type) try {
    HRESULT status = SetMediaType(type);
    if (FAILED(status)) return status;
    status = receivePin->ReceiveConnection(this, type);
    if (FAILED(status)) return status;
    status = finish(receivePin);
    if (FAILED(status)) receivePin->Disconnect();
    return status;
} catch (...) {
    return statusOfCurrentException();
}

HRESULT CBasePin::finish(IPin* peer) try { return CompleteConnect(peer); } catch (...) {
    return statusOfCurrentException();
}

HRESULT CBasePin::ReceiveConnection(IPin* connector, const AM_MEDIA_TYPE* type) try {
    if (connector == nullptr || type == nullptr) return E_POINTER;
    const std::lock_guard hold(*lock_);
    if (IsConnected()) return VFW_E_ALREADY_CONNECTED;
    if (!IsStopped()) return VFW_E_NOT_STOPPED;
    const CMediaType offered(*type);
    HRESULT status = CheckConnect(connector);
    if (SUCCEEDED(status)) {
        status = CheckMediaType(&offered);
        if (status != S_OK) status = refusal(status);
    }
    if (FAILED(status)) {
        BreakConnect();
        return status;
    }
    connected_ = connector;
    status = SetMediaType(&offered);
    if (SUCCEEDED(status)) status = finish(connector);
    if (SUCCEEDED(status)) return S_OK;
    BreakConnect();
    connected_.reset();
    return status;
} catch (...) {
    return statusOfCurrentException();
}

HRESULT CBasePin::Disconnect() {
    const std::lock_guard hold(*lock_);
    return IsStopped() ? DisconnectInternal() : VFW_E_NOT_STOPPED;
}

HRESULT CBasePin::DisconnectInternal() {
    if (!IsConnected()) return S_FALSE;
    const HRESULT status = BreakConnect();
    if (FAILED(status)) return status;
    connected_.reset();
    return S_OK;
}

HRESULT CBasePin::ConnectedTo(IPin** pin) {
    if (pin == nullptr) return E_POINTER;
    const std::lock_guard hold(*lock_);
    *pin = ComPtr<IPin>(connected_).detach();
    return *pin != nullptr ? S_OK : VFW_E_NOT_CONNECTED;
}

HRESULT CBasePin::ConnectionMediaType(AM_MEDIA_TYPE* type) {
    if (type == nullptr) return E_POINTER;
    const std::lock_guard hold(*lock_);
    if (IsConnected()) return CopyMediaType(*type, mediaType_);
    *type = {};
    return VFW_E_NOT_CONNECTED;
}

HRESULT CBasePin::QueryPinInfo(PIN_INFO* info) {
    if (info == nullptr) return E_POINTER;
    *info = {};
    info->pFilter = filter_;
    filter_->AddRef();
    info->dir = direction_;
    name_.copy(info->achName, std::size(info->achName) - 1);
    return S_OK;
}

HRESULT CBasePin::QueryDirection(PIN_DIRECTION* direction) {
    if (direction == nullptr) return E_POINTER;
    *direction = direction_;
    return S_OK;
}

HRESULT CBasePin::QueryId(WCHAR** id) {
    if (id == nullptr) return E_POINTER;
    const std::size_t bytes = (name_.size() + 1) * sizeof(WCHAR);
    *id = static_cast<WCHAR*>(CoTaskMemAlloc(bytes));
    if (*id == nullptr) return E_OUTOFMEMORY;
    std::memcpy(*id, name_.c_str(), bytes);
    return S_OK;
}

HRESULT CBasePin::QueryAccept(const AM_MEDIA_TYPE* type) try {
    if (type == nullptr) return E_POINTER;
    const CMediaType asked(*type);
    return CheckMediaType(&asked) == S_OK ? S_OK : S_FALSE;
} catch (...) {
    return statusOfCurrentException();
}

HRESULT CBasePin::EnumMediaTypes(IEnumMediaTypes** types) {
    if (types == nullptr) return E_POINTER;
    *types = nullptr;
    auto* const made = new (std::nothrow) CEnumMediaTypes(this, 0, mediaTypeVersion());
    if (made == nullptr) return E_OUTOFMEMORY;
    return GetInterface(static_cast<IEnumMediaTypes*>(made), reinterpret_cast<void**>(types));
}

HRESULT CBasePin::QueryInternalConnections(IPin**, std::uint32_t*) { return E_NOTIMPL; }

HRESULT CBasePin::NewSegment(REFERENCE_TIME, REFERENCE_TIME, double) { return S_OK; }

HRESULT CBasePin::GetMediaType(int, CMediaType*) { return VFW_S_NO_MORE_ITEMS; }

HRESULT CBasePin::SetMediaType(const CMediaType* type) try {
    mediaType_ = *type;
    return S_OK;
} catch (...) {
    return statusOfCurrentException();
}

HRESULT CBasePin::CheckConnect(IPin* peer) {
    PIN_DIRECTION direction = PINDIR_INPUT;
    const HRESULT status = peer->QueryDirection(&direction);
    if (FAILED(status)) return status;
    return direction == direction_ ? VFW_E_INVALID_DIRECTION : S_OK;
}

HRESULT CBasePin::CompleteConnect(IPin*) { return S_OK; }
