#include "cli/module_loader.h"

#include <dlfcn.h>

#include <filesystem>
#include <stdexcept>

#include "foundation/status.h"

namespace mcgate::host {

namespace {

using CreateFunction = HRESULT (*)(const GUID&, const GUID&, void**);

CreateFunction loadModule() {
    const auto path = std::filesystem::read_symlink("/proc/self/exe").parent_path() / "mcgate.AX";
    void* module = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (module == nullptr) throw std::runtime_error(std::string("can't load the module: ") + dlerror());
    auto* function = reinterpret_cast<CreateFunction>(dlsym(module, "McgateCreateObject"));
    if (function == nullptr) throw std::runtime_error(path.string() + " is no module of this system");
    return function;
}

}  // namespace

platform::ComPtr<IUnknown> createObject(const GUID& classId) {
    static const CreateFunction function = loadModule();
    platform::ComPtr<IUnknown> object;
    const HRESULT status = function(classId, IUnknown::iid, object.putVoid());
    if (FAILED(status)) {
        throw std::runtime_error("can't create " + platform::guidText(classId) + ": " + GetStatusText(status));
    }
    return object;
}

}  // namespace mcgate::host
