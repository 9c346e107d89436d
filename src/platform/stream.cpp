#include "platform/stream.h"

namespace mcgate::platform {

HRESULT CountedStream::QueryInterface(const GUID& id, void** object) {
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    if (id != IStream::iid && id != IUnknown::iid) return E_NOINTERFACE;
    AddRef();
    *object = static_cast<IStream*>(this);
    return S_OK;
}

std::uint32_t CountedStream::Release() {
    const std::uint32_t left = --references_;
    if (left == 0) delete this;
    return left;
}

}  // namespace mcgate::platform
