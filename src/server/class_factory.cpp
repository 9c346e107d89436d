#include "server/class_factory.h"

#include <memory>

namespace {
std::atomic<std::int32_t> serverLocks{0};
}  // namespace

HRESULT CClassFactory::QueryInterface(const GUID& id, void** object) {
    if (object == nullptr) return E_POINTER;
    if (id == IUnknown::iid || id == IClassFactory::iid) return GetInterface(static_cast<IClassFactory*>(this), object);
    *object = nullptr;
    return E_NOINTERFACE;
}

std::uint32_t CClassFactory::AddRef() { return ++references_; }

std::uint32_t CClassFactory::Release() {
    const std::uint32_t left = --references_;
    if (left == 0) delete this;
    return left;
}

HRESULT CClassFactory::CreateInstance(IUnknown* outer, const GUID& interfaceId, void** object) {
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    // An aggregated object's other interfaces answer to the outer one, which holds only the identity.
    if (outer != nullptr && interfaceId != IUnknown::iid) return E_NOINTERFACE;
    HRESULT status = S_OK;
    std::unique_ptr<CUnknown> made(row_.create(outer, &status));
    if (!made) return FAILED(status) ? status : E_OUTOFMEMORY;
    if (FAILED(status)) return status;
    CUnknown* const counted = made.release();
    counted->NonDelegatingAddRef();
    const HRESULT asked = counted->NonDelegatingQueryInterface(interfaceId, object);
    counted->NonDelegatingRelease();
    return asked;
}

HRESULT CClassFactory::LockServer(bool lock) {
    serverLocks += lock ? 1 : -1;
    return S_OK;
}

bool CClassFactory::isServerLocked() noexcept { return serverLocks > 0; }
