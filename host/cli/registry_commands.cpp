#include "cli/registry_commands.h"

#include <fmt/format.h>
#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <stdexcept>

#include "cli/module_loader.h"
#include "foundation/status.h"
#include "io/standard_output.h"
#include "platform/class_creation.h"
#include "platform/dynamic_library.h"
#include "platform/errors.h"
#include "platform/filter_mapper.h"
#include "platform/registry.h"

namespace mcgate::host {

namespace {

namespace fs = std::filesystem;

// As desktops have it (XDG_DATA_HOME): a relative path counts as none.
fs::path dataDirectory() {
    const char* const data = std::getenv("XDG_DATA_HOME");
    if (data != nullptr && data[0] == '/') return data;
    const char* home = std::getenv("HOME");
    if (home == nullptr || home[0] != '/') {
        const passwd* const user = getpwuid(geteuid());
        home = user != nullptr ? user->pw_dir : nullptr;
    }
    return home != nullptr && home[0] == '/' ? fs::path(home) / ".local/share" : fs::path();
}

std::string reasonOf(HRESULT status) {
    const std::string& file = platform::registryFile();
    if (file.empty()) return "there is no directory for the registry; --registry FILE names one";
    if (status == HRESULT_FROM_WIN32(platform::ErrorInvalidData)) return damagedRegistry();
    if (status == HRESULT_FROM_WIN32(platform::ErrorInsufficientBuffer)) {
        return "the path of the module has more than " + std::to_string(platform::kLongestModulePath - 1) + " bytes";
    }
    return "registry " + file + ": " + GetStatusText(status);
}

// Refused paths show in the status of the module's call.
void makeDirectoryOfRegistry() {
    std::error_code refused;
    fs::create_directories(fs::path(platform::registryFile()).parent_path(), refused);
}

std::string call(const std::string& given, const char* entryPoint, const std::string& what) {
    std::string path = fs::absolute(given.empty() ? moduleBeside() : given).lexically_normal();
    if (!fs::exists(path)) throw std::runtime_error(what + path + ": it isn't there");
    HRESULT status = E_FAIL;
    try {
        const platform::DynamicLibrary module(path);
        auto* const function = module.function<DllRegistrationFunction>(entryPoint);
        if (function == nullptr) throw std::runtime_error("it exports no " + std::string(entryPoint));
        status = function();
    } catch (const std::exception& fault) {
        throw std::runtime_error(what + path + ": " + fault.what());
    }
    if (FAILED(status)) throw std::runtime_error(what + path + ": " + reasonOf(status));
    return path;
}

struct ClassRow {
    std::string merit = "-";  ///< a class that is no filter has none
    std::string name;
    std::string module = "-";
};

void demandRegistry(int status) {
    if (status != 0 && status != platform::ErrorFileNotFound) {
        throw std::runtime_error("can't tell what is registered: " + reasonOf(HRESULT_FROM_WIN32(status)));
    }
}

std::map<std::string, ClassRow> registeredClasses() {
    std::map<std::string, ClassRow> rows;
    std::vector<std::string> keys;
    demandRegistry(platform::listRegistryKeys("CLSID", keys));
    for (const auto& id : keys) {
        ClassRow row;
        const std::string key = "CLSID\\" + id;
        if (platform::readRegistryValue(key + "\\InprocServer32", "", row.module) != 0) continue;
        platform::readRegistryValue(key, "", row.name);
        std::error_code unseen;
        if (!fs::exists(row.module, unseen)) row.module += " (isn't there)";
        rows[id] = row;
    }
    std::vector<platform::RegisteredFilter> filters;
    demandRegistry(platform::listRegisteredFilters(filters));
    for (const auto& filter : filters) {
        ClassRow& row = rows[filter.classId];
        row.merit = filter.merit;
        row.name = filter.name;
    }
    return rows;
}

}  // namespace

void useRegistry(const std::string& file) {
    const fs::path data = dataDirectory();
    const fs::path chosen = !file.empty() ? fs::absolute(file) : data.empty() ? data : data / "mcgate/registry";
    platform::setRegistryFile(chosen);
}

int runRegister(const std::string& module) {
    makeDirectoryOfRegistry();
    const std::string path = call(module, "DllRegisterServer", "can't register ");
    writeStandardOutput("registered " + path + " in " + platform::registryFile() + '\n');
    return 0;
}

int runUnregister(const std::string& module) {
    call(module, "DllUnregisterServer", "can't unregister the classes of ");
    writeStandardOutput("nothing of mcgate is registered in " + platform::registryFile() + " any more\n");
    return 0;
}

int runClasses() {
    const auto rows = registeredClasses();
    std::string text = rows.empty() ? "nothing is registered in " + platform::registryFile() + '\n' : std::string();
    for (const auto& [id, row] : rows) text += fmt::format("{}  {:<10}  {}  {}\n", id, row.merit, row.name, row.module);
    writeStandardOutput(text);
    return 0;
}

}  // namespace mcgate::host
