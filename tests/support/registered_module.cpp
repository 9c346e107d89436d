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

namespace {

// Taken before main: in a chroot, a program that moves to a mount namespace of its own isn't shown its place any more.
const fs::path program = fs::read_symlink("/proc/self/exe");

}  // namespace

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

std::string RegisteredModule::path() { return program.parent_path() / "mcgate.AX"; }

}  // namespace test
