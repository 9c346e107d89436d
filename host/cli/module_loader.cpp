#include "cli/module_loader.h"

#include <filesystem>
#include <stdexcept>

#include "foundation/status.h"
#include "platform/class_creation.h"
#include "platform/dynamic_library.h"
#include "platform/errors.h"
#include "platform/registry.h"

namespace mcgate::host {

namespace {

using platform::ComPtr;
using platform::DynamicLibrary;

// Loaded once, and for as long as the program runs.
DllGetClassObjectFunction& classesBeside() {
    static const DynamicLibrary& module = *new DynamicLibrary(moduleBeside());
    auto* const function = module.function<DllGetClassObjectFunction>("DllGetClassObject");
    if (function == nullptr) throw std::runtime_error("it exports no DllGetClassObject");
    return *function;
}

HRESULT createBeside(const GUID& classId, ComPtr<IUnknown>& object) {
    ComPtr<IClassFactory> factory;
    const HRESULT found = classesBeside()(classId, IClassFactory::iid, factory.putVoid());
    return FAILED(found) ? found : factory->CreateInstance(nullptr, IUnknown::iid, object.putVoid());
}

HRESULT createRegistered(const GUID& classId, ComPtr<IUnknown>& object) {
    static const HRESULT initialised = CoInitialize(nullptr);
    if (FAILED(initialised)) return initialised;
    return CoCreateInstance(classId, nullptr, CLSCTX_INPROC_SERVER, IUnknown::iid, object.putVoid());
}

// The loader knows best why a file is no module.
std::string faultOf(const std::string& path) {
    try {
        const DynamicLibrary module(path);
        return path + " has not the entry points of a module";
    } catch (const std::exception& fault) {
        return fault.what();
    }
}

std::string reasonOf(HRESULT status, const ModuleChoice& module) {
    const std::string remedy = "; mcgate register MODULE puts another in its place, mcgate unregister takes it away";
    if (status == CO_E_DLLNOTFOUND) return "the registered module " + module.path + " isn't there" + remedy;
    if (status == CO_E_ERRORINDLL) return "the registered module can't be used: " + faultOf(module.path) + remedy;
    return module.path + ": " + GetStatusText(status);
}

}  // namespace

std::string moduleBeside() { return std::filesystem::read_symlink("/proc/self/exe").parent_path() / "mcgate.AX"; }

std::string damagedRegistry() {
    return platform::registryFile() +
           " isn't as a registry is written; name another with --registry, or, if it was one, delete it and register "
           "anew";
}

ModuleChoice moduleOf(const GUID& classId) {
    ModuleChoice choice;
    const int status = platform::readRegistryValue(platform::serverKey(classId), "", choice.path);
    if (status == platform::ErrorFileNotFound) return {moduleBeside(), false};
    if (status == platform::ErrorInvalidData) throw std::runtime_error(damagedRegistry());
    if (status != 0) {
        throw std::runtime_error("can't read the registry " + platform::registryFile() + ": " +
                                 GetStatusText(HRESULT_FROM_WIN32(status)));
    }
    choice.registered = true;
    return choice;
}

ComPtr<IUnknown> createObject(const GUID& classId) {
    const ModuleChoice module = moduleOf(classId);
    const std::string what = "can't create " + platform::guidText(classId) + ": ";
    ComPtr<IUnknown> object;
    HRESULT status = S_OK;
    try {
        status = module.registered ? createRegistered(classId, object) : createBeside(classId, object);
    } catch (const std::exception& fault) {
        throw std::runtime_error(
            what + "no module is registered, and the one beside the program can't be used: " + fault.what());
    }
    if (FAILED(status)) throw std::runtime_error(what + reasonOf(status, module));
    return object;
}

}  // namespace mcgate::host
