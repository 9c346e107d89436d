#include "platform/class_creation.h"

#include <atomic>
#include <filesystem>
#include <new>
#include <stdexcept>

#include "platform/errors.h"
#include "platform/filter_mapper.h"
#include "platform/process/filter_mapper_object.h"
#include "platform/process/loaded_modules.h"
#include "platform/process/process.h"
#include "platform/registry.h"

namespace mcgate::process {

namespace {

constexpr std::uint32_t kUnloadDelayMs = 10'000;

// Never destroyed: the modules of a process that ends are let go by the system.
LoadedModules& modules = *new LoadedModules;
std::atomic<int> initialised{0};
thread_local int initialisedHere = 0;

HRESULT tellFault(const std::exception& fault) {
    writeDebugOutput((std::string("can't use a module: ") + fault.what() + "\n").c_str());
    return CO_E_ERRORINDLL;
}

HRESULT createFromModule(const GUID& classId, IUnknown* outer, const GUID& interfaceId, void** object) {
    std::string path;
    const int read = platform::readRegistryValue(platform::serverKey(classId), "", path);
    if (read == platform::ErrorFileNotFound) return REGDB_E_CLASSNOTREG;
    if (read != 0) return HRESULT_FROM_WIN32(read);
    std::error_code unseen;
    if (!path.starts_with('/') || !std::filesystem::exists(path, unseen)) return CO_E_DLLNOTFOUND;
    try {
        const auto module = modules.use(path);
        platform::ComPtr<IClassFactory> factory;  // goes before the use of its module ends
        const HRESULT found = module.getClassObject(classId, IClassFactory::iid, factory.putVoid());
        return FAILED(found) ? found : factory->CreateInstance(outer, interfaceId, object);
    } catch (const std::runtime_error& fault) {
        return tellFault(fault);
    }
}

HRESULT create(const GUID& classId, IUnknown* outer, const GUID& interfaceId, void** object) {
    if (classId == CLSID_FilterMapper2 || classId == CLSID_FilterMapper) {
        return outer != nullptr ? CLASS_E_NOAGGREGATION : createFilterMapper(interfaceId, object);
    }
    return createFromModule(classId, outer, interfaceId, object);
}

}  // namespace

}  // namespace mcgate::process

using namespace mcgate::process;

HRESULT CoInitialize(void*) noexcept {
    ++initialised;
    return ++initialisedHere == 1 ? S_OK : S_FALSE;
}

void CoUninitialize() noexcept {
    if (initialisedHere == 0) return;  // a call too many takes nobody else's
    --initialisedHere;
    --initialised;
}

HRESULT CoCreateInstance(const GUID& classId, IUnknown* outer, std::uint32_t context, const GUID& interfaceId,
                         void** object) noexcept try {
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    if (initialised == 0) return CO_E_NOTINITIALIZED;
    if ((context & CLSCTX_INPROC_SERVER) == 0) return REGDB_E_CLASSNOTREG;
    return create(classId, outer, interfaceId, object);
} catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
} catch (...) {
    return E_FAIL;
}

void CoFreeUnusedLibraries() noexcept { CoFreeUnusedLibrariesEx(kUnloadDelayMs, 0); }

void CoFreeUnusedLibrariesEx(std::uint32_t delayMs, std::uint32_t) noexcept try {
    modules.freeUnused(std::chrono::milliseconds(delayMs));
} catch (const std::exception& fault) {
    tellFault(fault);  // without memory for the list nothing is unloaded this time
}
