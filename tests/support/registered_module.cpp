#include "support/registered_module.h"

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "platform/class_creation.h"
#include "platform/dynamic_library.h"
#include "platform/registry.h"

namespace test {

namespace fs = std::filesystem;
using mcgate::platform::DynamicLibrary;

RegisteredModule::RegisteredModule() : directory_(fs::temp_directory_path() / "mcgate-registry-XXXXXX") {
    if (mkdtemp(directory_.data()) == nullptr) throw std::runtime_error("no temporary directory");
    const std::string file = directory_ + "/registry";
    mcgate::platform::setRegistryFile(file);
    setenv("MCGATE_REGISTRY", file.c_str(), 1);
    const HRESULT status = DynamicLibrary(path()).function<DllRegistrationFunction>("DllRegisterServer")();
    if (FAILED(status)) throw std::runtime_error("the module can't be registered: " + std::to_string(status));
}

const RegisteredModule& RegisteredModule::once() {
    static const RegisteredModule module;
    return module;
}

RegisteredModule::~RegisteredModule() {
    std::error_code left;
    fs::remove_all(directory_, left);
}

bool RegisteredModule::isIdle() {
    return DynamicLibrary(path()).function<DllCanUnloadNowFunction>("DllCanUnloadNow")() == S_OK;
}

std::string RegisteredModule::path() { return fs::read_symlink("/proc/self/exe").parent_path() / "mcgate.AX"; }

}  // namespace test
