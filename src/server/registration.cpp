#include "server/registration.h"

#include <string>

#include "platform/dynamic_library.h"
#include "platform/errors.h"
#include "platform/registry.h"
#include "server/server_core.h"

using namespace mcgate::platform;

namespace {

int writeServerKeys(const CFactoryTemplate& row, const std::string& path) {
    const int status = writeRegistryValues(classKey(*row.classId), {{"", toNarrow(row.name)}});
    if (status != 0) return status;
    return writeRegistryValues(serverKey(*row.classId), {{"", path}, {"ThreadingModel", "Both"}});
}

HRESULT writeAllServerKeys(const std::string& path) {
    for (const auto& row : factoryTemplates()) {
        const int status = writeServerKeys(row, path);
        if (status != 0) return HRESULT_FROM_WIN32(status);
    }
    return S_OK;
}

HRESULT deleteAllServerKeys() {
    for (const auto& row : factoryTemplates()) {
        const int status = deleteRegistryKey(classKey(*row.classId));
        if (status != 0 && status != ErrorFileNotFound) return HRESULT_FROM_WIN32(status);
    }
    return S_OK;
}

template <class Mapper>
HRESULT setUpFilters(Mapper& mapper, SetUp what) {
    for (const auto& row : factoryTemplates()) {
        if (row.setup == nullptr) continue;
        const HRESULT status = setUpFilter(mapper, *row.setup, what);
        if (FAILED(status)) return status;
    }
    return S_OK;
}

template <class Mapper>
ComPtr<Mapper> makeMapper(const GUID& classId, HRESULT& status) {
    ComPtr<Mapper> mapper;
    status = CoCreateInstance(classId, nullptr, CLSCTX_INPROC_SERVER, Mapper::iid, mapper.putVoid());
    return mapper;
}

HRESULT setUpFilters(SetUp what) {
    const CreationScope scope;
    HRESULT status = S_OK;
    if (const auto mapper = makeMapper<IFilterMapper2>(CLSID_FilterMapper2, status)) return setUpFilters(*mapper, what);
    const auto older = makeMapper<IFilterMapper>(CLSID_FilterMapper, status);
    return older ? setUpFilters(*older, what) : status;
}

HRESULT findModule(std::string& path) { return HRESULT_FROM_WIN32(moduleFileName(moduleHandle(), path)); }

}  // namespace

HRESULT registerModule() {
    std::string path;
    HRESULT status = findModule(path);
    if (SUCCEEDED(status)) status = writeAllServerKeys(path);
    return SUCCEEDED(status) ? setUpFilters(SetUp::Register) : status;
}

HRESULT unregisterModule() {
    std::string path;
    HRESULT status = findModule(path);
    if (SUCCEEDED(status)) status = setUpFilters(SetUp::Unregister);
    return SUCCEEDED(status) ? deleteAllServerKeys() : status;
}
