// What the module exports.

#include <new>

#include "foundation/status.h"
#include "server/class_factory.h"
#include "server/registration.h"

#define MCGATE_EXPORT extern "C" __attribute__((visibility("default")))

/// Gives the class factory of `classId` with a reference. E_NOINTERFACE for an interface other than IUnknown and
/// IClassFactory, CLASS_E_CLASSNOTAVAILABLE for a class that the module doesn't have, E_POINTER, E_OUTOFMEMORY.
MCGATE_EXPORT HRESULT DllGetClassObject(const GUID& classId, const GUID& interfaceId, void** object) {
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    if (interfaceId != IUnknown::iid && interfaceId != IClassFactory::iid) return E_NOINTERFACE;
    const CFactoryTemplate* const row = findTemplate(classId);
    if (row == nullptr) return CLASS_E_CLASSNOTAVAILABLE;
    *object = static_cast<IClassFactory*>(new (std::nothrow) CClassFactory(*row));
    return *object != nullptr ? S_OK : E_OUTOFMEMORY;
}

/// S_OK when nothing of the module is in use: no object, no lock of the server. S_FALSE otherwise.
MCGATE_EXPORT HRESULT DllCanUnloadNow() {
    // The lock is looked at on both sides: who releases a factory after locking is seen by the one or the other.
    const bool used = CClassFactory::isServerLocked() || CBaseObject::ObjectsActive() > 0;
    return used || CClassFactory::isServerLocked() ? S_FALSE : S_OK;
}

/// Both may be called again and again.
MCGATE_EXPORT HRESULT DllRegisterServer() try { return registerModule(); } catch (...) {
    return mcgate::foundation::statusOfCurrentException();
}

MCGATE_EXPORT HRESULT DllUnregisterServer() try { return unregisterModule(); } catch (...) {
    return mcgate::foundation::statusOfCurrentException();
}
