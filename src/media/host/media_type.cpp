#include "media/host/media_type.h"

#include <cstring>
#include <new>
#include <utility>

#include "platform/text.h"

namespace {

bool sameFormat(const AM_MEDIA_TYPE& left, const AM_MEDIA_TYPE& right) noexcept {
    if (left.formattype != right.formattype || left.cbFormat != right.cbFormat) return false;
    return left.cbFormat == 0 || std::memcmp(left.pbFormat, right.pbFormat, left.cbFormat) == 0;
}

// Copies the record and leaves out what it owns.
void copyFields(AM_MEDIA_TYPE& target, const AM_MEDIA_TYPE& source) noexcept {
    target = source;
    target.pUnk = nullptr;
    target.cbFormat = 0;
    target.pbFormat = nullptr;
}

}  // namespace

HRESULT CopyMediaType(AM_MEDIA_TYPE& target, const AM_MEDIA_TYPE& source) noexcept {
    copyFields(target, source);
    if (source.cbFormat != 0 && source.pbFormat != nullptr) {
        target.pbFormat = static_cast<std::uint8_t*>(CoTaskMemAlloc(source.cbFormat));
        if (target.pbFormat == nullptr) return E_OUTOFMEMORY;
        std::memcpy(target.pbFormat, source.pbFormat, source.cbFormat);
        target.cbFormat = source.cbFormat;
    }
    target.pUnk = source.pUnk;
    if (target.pUnk != nullptr) target.pUnk->AddRef();
    return S_OK;
}

void FreeMediaType(AM_MEDIA_TYPE& type) noexcept {
    CoTaskMemFree(std::exchange(type.pbFormat, nullptr));
    type.cbFormat = 0;
    if (IUnknown* unknown = std::exchange(type.pUnk, nullptr)) unknown->Release();
}

AM_MEDIA_TYPE* CreateMediaType(const AM_MEDIA_TYPE& source) noexcept {
    void* const memory = CoTaskMemAlloc(sizeof(AM_MEDIA_TYPE));
    if (memory == nullptr) return nullptr;
    auto* const copy = new (memory) AM_MEDIA_TYPE;
    if (SUCCEEDED(CopyMediaType(*copy, source))) return copy;
    CoTaskMemFree(memory);
    return nullptr;
}

void DeleteMediaType(AM_MEDIA_TYPE* type) noexcept {
    if (type == nullptr) return;
    FreeMediaType(*type);
    CoTaskMemFree(type);
}

CMediaType::CMediaType(const AM_MEDIA_TYPE& other) {
    if (FAILED(CopyMediaType(*this, other))) throw std::bad_alloc();
}

CMediaType::CMediaType(const CMediaType& other) : CMediaType(static_cast<const AM_MEDIA_TYPE&>(other)) {}

CMediaType::CMediaType(CMediaType&& other) noexcept : AM_MEDIA_TYPE(other) {
    other.pUnk = nullptr;
    other.cbFormat = 0;
    other.pbFormat = nullptr;
}

CMediaType& CMediaType::operator=(CMediaType other) noexcept {
    std::swap(static_cast<AM_MEDIA_TYPE&>(*this), static_cast<AM_MEDIA_TYPE&>(other));
    return *this;
}

CMediaType::~CMediaType() { FreeMediaType(*this); }

void CMediaType::InitMediaType() noexcept { *this = CMediaType(); }

void CMediaType::SetFormat(const GUID& type, const void* block, std::uint32_t bytes) {
    AM_MEDIA_TYPE wanted;
    wanted.cbFormat = bytes;
    wanted.pbFormat = static_cast<std::uint8_t*>(const_cast<void*>(block));
    CMediaType copy(wanted);
    std::swap(pbFormat, copy.pbFormat);
    std::swap(cbFormat, copy.cbFormat);
    formattype = type;
}

bool CMediaType::equals(const AM_MEDIA_TYPE& other) const noexcept {
    return majortype == other.majortype && subtype == other.subtype && sameFormat(*this, other);
}

bool CMediaType::MatchesPartial(const AM_MEDIA_TYPE& partial) const noexcept {
    if (partial.majortype != GUID_NULL && partial.majortype != majortype) return false;
    if (partial.subtype != GUID_NULL && partial.subtype != subtype) return false;
    return partial.formattype == GUID_NULL || sameFormat(*this, partial);
}
