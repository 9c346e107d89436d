#include "platform/filter_mapper.h"

#include <atomic>
#include <cstdio>
#include <new>
#include <string_view>

#include "platform/errors.h"
#include "platform/process/filter_mapper_object.h"
#include "platform/registry.h"

using namespace mcgate::platform;

namespace {

constexpr const char* kName = "FriendlyName";
constexpr const char* kClass = "CLSID";
constexpr const char* kMerit = "Merit";

std::string categoryKey(const GUID* category) {
    return classKey(category != nullptr ? *category : CLSID_LegacyAmFilterCategory) + "\\Instance";
}

std::string instanceKey(const GUID* category, const WCHAR* instance, const GUID& filter) {
    return categoryKey(category) + "\\" + (instance != nullptr ? toNarrow(instance) : guidText(filter));
}

std::string meritText(std::uint32_t merit) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08X", merit);
    return text;
}

HRESULT store(const std::string& key, const GUID& filter, const WCHAR* name, std::uint32_t merit) {
    return HRESULT_FROM_WIN32(
        writeRegistryValues(key, {{kClass, guidText(filter)}, {kName, toNarrow(name)}, {kMerit, meritText(merit)}}));
}

template <class Action>
HRESULT withoutThrowing(Action&& action) noexcept {
    try {
        return action();
    } catch (...) {
        return E_OUTOFMEMORY;  // texts are all that can fail to be made
    }
}

/// Holds no state: everything stands in the registry.
class FilterMapper final : public IFilterMapper2, public IFilterMapper {
public:
    HRESULT QueryInterface(const GUID& id, void** object) override {
        if (object == nullptr) return E_POINTER;
        *object = nullptr;
        if (id == IFilterMapper2::iid || id == IUnknown::iid) *object = static_cast<IFilterMapper2*>(this);
        if (id == IFilterMapper::iid) *object = static_cast<IFilterMapper*>(this);
        if (*object == nullptr) return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    std::uint32_t AddRef() override { return ++references_; }
    std::uint32_t Release() override {
        const std::uint32_t left = --references_;
        if (left == 0) delete this;
        return left;
    }

    HRESULT CreateCategory(const GUID&, std::uint32_t, const WCHAR*) override { return E_NOTIMPL; }
    HRESULT UnregisterFilter(const GUID* category, const WCHAR* instance, const GUID& filter) override {
        return withoutThrowing(
            [&] { return HRESULT_FROM_WIN32(deleteRegistryKey(instanceKey(category, instance, filter))); });
    }
    HRESULT RegisterFilter(const GUID& filter, const WCHAR* name, IMoniker** moniker, const GUID* category,
                           const WCHAR* instance, const REGFILTER2* setup) override {
        if (name == nullptr || setup == nullptr) return E_POINTER;
        if (setup->dwVersion != 1) return E_INVALIDARG;
        if (instance != nullptr && std::u16string_view(instance).find(u'\\') != std::u16string_view::npos) {
            return E_INVALIDARG;
        }
        if (moniker != nullptr || setup->cPins != 0) return E_NOTIMPL;
        return withoutThrowing(
            [&] { return store(instanceKey(category, instance, filter), filter, name, setup->dwMerit); });
    }
    HRESULT EnumMatchingFilters(IEnumMoniker**, std::uint32_t, std::int32_t, std::uint32_t, std::int32_t, std::uint32_t,
                                const GUID*, const REGPINMEDIUM*, const GUID*, std::int32_t, std::int32_t,
                                std::uint32_t, const GUID*, const REGPINMEDIUM*, const GUID*) override {
        return E_NOTIMPL;
    }

    HRESULT RegisterFilter(const GUID& filter, const WCHAR* name, std::uint32_t merit) override {
        const REGFILTER2 setup{1, merit, 0, nullptr};
        return RegisterFilter(filter, name, nullptr, nullptr, nullptr, &setup);
    }
    HRESULT UnregisterFilter(const GUID& filter) override { return UnregisterFilter(nullptr, nullptr, filter); }
    HRESULT RegisterFilterInstance(const GUID&, const WCHAR*, GUID*) override { return E_NOTIMPL; }
    HRESULT RegisterPin(const GUID&, const WCHAR*, std::int32_t, std::int32_t, std::int32_t, std::int32_t, const GUID&,
                        const WCHAR*) override {
        return E_NOTIMPL;
    }
    HRESULT RegisterPinType(const GUID&, const WCHAR*, const GUID&, const GUID&) override { return E_NOTIMPL; }
    HRESULT UnregisterFilterInstance(const GUID&) override { return E_NOTIMPL; }
    HRESULT UnregisterPin(const GUID&, const WCHAR*) override { return E_NOTIMPL; }
    HRESULT EnumMatchingFilters(IEnumRegFilters**, std::uint32_t, std::int32_t, const GUID&, const GUID&, std::int32_t,
                                std::int32_t, const GUID&, const GUID&) override {
        return E_NOTIMPL;
    }

private:
    std::atomic<std::uint32_t> references_{1};
};

}  // namespace

namespace mcgate::process {

HRESULT createFilterMapper(const GUID& interfaceId, void** object) noexcept {
    auto* const made = new (std::nothrow) FilterMapper;
    if (made == nullptr) return E_OUTOFMEMORY;
    return ComPtr<IFilterMapper2>::attach(made)->QueryInterface(interfaceId, object);
}

}  // namespace mcgate::process

int mcgate::platform::listRegisteredFilters(std::vector<RegisteredFilter>& filters) noexcept try {
    filters.clear();
    const std::string category = categoryKey(nullptr);
    std::vector<std::string> instances;
    const int listed = listRegistryKeys(category, instances);
    if (listed != 0) return listed == ErrorFileNotFound ? 0 : listed;
    for (const auto& instance : instances) {
        std::string key = category;
        key.append("\\").append(instance);
        RegisteredFilter& filter = filters.emplace_back();
        // What another process deletes meanwhile is left empty, and what it never had, too.
        for (const auto& [name, text] :
             {std::pair{kClass, &filter.classId}, {kName, &filter.name}, {kMerit, &filter.merit}}) {
            const int found = readRegistryValue(key, name, *text);
            if (found != 0 && found != ErrorFileNotFound) return found;
        }
    }
    return 0;
} catch (...) {
    return ErrorNotEnoughMemory;
}
