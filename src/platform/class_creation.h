#pragma once
// Creation of component classes by class id. A module is a shared library that exports DllGetClassObject and
// DllCanUnloadNow; the registry tells which one makes a class: the default value of the key
// "CLSID\{class id}\InprocServer32" is its absolute path. A process has one table of loaded modules, shared by the host
// and by the modules.
//
// Threads: any, at once. The table's lock is a leaf: it is not held while a module is loaded, asked, called or
// unloaded. Statuses: REGDB_E_CLASSNOTREG for a class that isn't registered, CO_E_DLLNOTFOUND for a registered module
// that isn't there, CO_E_ERRORINDLL for one that can't be loaded or lacks its entry points (the debug output tells
// why), the registry's error number as an HRESULT.

#include <cstdint>

#include "platform/process/api.h"
#include "platform/unknown.h"

struct IClassFactory : IUnknown {
    static constexpr GUID iid = mcgate::platform::guid("{00000001-0000-0000-C000-000000000046}");
    /// A new object's interface, with a reference. `outer` aggregates the object, which then must be asked for
    /// IUnknown.
    virtual HRESULT CreateInstance(IUnknown* outer, const GUID& interfaceId, void** object) = 0;
    /// Keeps the module loaded, or takes that back.
    virtual HRESULT LockServer(bool lock) = 0;

protected:
    ~IClassFactory() = default;
};

/// The entry points of a module.
using DllGetClassObjectFunction = HRESULT(const GUID& classId, const GUID& interfaceId, void** object);
using DllCanUnloadNowFunction = HRESULT();
/// DllRegisterServer and DllUnregisterServer.
using DllRegistrationFunction = HRESULT();

/// In the process of the caller, the one context there is here.
inline constexpr std::uint32_t CLSCTX_INPROC_SERVER = 1;

/// Before the first creation in a process. S_OK, or S_FALSE where this thread did so before; each call wants its
/// CoUninitialize. The last of those unloads nothing: see CoFreeUnusedLibraries.
MCGATE_PROCESS_API HRESULT CoInitialize(void* reserved) noexcept;
MCGATE_PROCESS_API void CoUninitialize() noexcept;

/// Creates an object of a registered class, or of the filter mapper's two, and gives its interface with a reference.
/// CO_E_NOTINITIALIZED while no thread of the process has called CoInitialize.
MCGATE_PROCESS_API HRESULT CoCreateInstance(const GUID& classId, IUnknown* outer, std::uint32_t context,
                                            const GUID& interfaceId, void** object) noexcept;

/// Unloads the modules that say S_OK to DllCanUnloadNow, said so to a call at least ten seconds ago, and that nobody
/// has created from since: a first call unloads nothing. The delay is for threads whose last release of an object has
/// counted it out but has not yet left the module's code; no module can see those.
MCGATE_PROCESS_API void CoFreeUnusedLibraries() noexcept;
/// The same with another delay in milliseconds. 0 is for a caller who knows that no other thread is inside such a
/// release; creation on other threads does no harm.
MCGATE_PROCESS_API void CoFreeUnusedLibrariesEx(std::uint32_t delayMs, std::uint32_t reserved) noexcept;
