// The server's core with a table of classes, and filter mappers, that fail as the test wants.

#include <gtest/gtest.h>

#include <filesystem>

#include "platform/errors.h"
#include "platform/registry.h"
#include "server/class_factory.h"
#include "server/registration.h"
#include "support/temporary_file.h"

namespace {

using namespace mcgate::platform;

constexpr HRESULT kFails = HRESULT_FROM_WIN32(ErrorAccessDenied);
constexpr HRESULT kNotThere = HRESULT_FROM_WIN32(ErrorFileNotFound);
constexpr std::string_view kEmpty = "mcgate registry 1\n";
constexpr GUID kClass = guid("{00000000-1111-2222-3333-444444444444}");

/// What the mappers say, and what they were asked: a letter a call, capital for the newer one.
struct {
    HRESULT newer = S_OK;
    HRESULT older = S_OK;
    HRESULT unregistering = S_OK;
    HRESULT registering = S_OK;
    std::string calls;
} mappers;

HRESULT said(char call, HRESULT status) {
    mappers.calls += call;
    return status;
}

template <class Mapper>
struct Uncounted : Mapper {
    HRESULT QueryInterface(const GUID&, void**) override { return E_NOINTERFACE; }
    std::uint32_t AddRef() override { return 1; }
    std::uint32_t Release() override { return 1; }
};

struct Newer final : Uncounted<IFilterMapper2> {
    HRESULT CreateCategory(const GUID&, std::uint32_t, const WCHAR*) override { return E_NOTIMPL; }
    HRESULT UnregisterFilter(const GUID*, const WCHAR*, const GUID&) override {
        return said('U', mappers.unregistering);
    }
    HRESULT RegisterFilter(const GUID&, const WCHAR*, IMoniker**, const GUID*, const WCHAR*,
                           const REGFILTER2*) override {
        return said('R', mappers.registering);
    }
    HRESULT EnumMatchingFilters(IEnumMoniker**, std::uint32_t, std::int32_t, std::uint32_t, std::int32_t, std::uint32_t,
                                const GUID*, const REGPINMEDIUM*, const GUID*, std::int32_t, std::int32_t,
                                std::uint32_t, const GUID*, const REGPINMEDIUM*, const GUID*) override {
        return E_NOTIMPL;
    }
} newer;

struct Older final : Uncounted<IFilterMapper> {
    HRESULT RegisterFilter(const GUID&, const WCHAR*, std::uint32_t) override { return said('r', mappers.registering); }
    HRESULT RegisterFilterInstance(const GUID&, const WCHAR*, GUID*) override { return E_NOTIMPL; }
    HRESULT RegisterPin(const GUID&, const WCHAR*, std::int32_t, std::int32_t, std::int32_t, std::int32_t, const GUID&,
                        const WCHAR*) override {
        return E_NOTIMPL;
    }
    HRESULT RegisterPinType(const GUID&, const WCHAR*, const GUID&, const GUID&) override { return E_NOTIMPL; }
    HRESULT UnregisterFilter(const GUID&) override { return said('u', mappers.unregistering); }
    HRESULT UnregisterFilterInstance(const GUID&) override { return E_NOTIMPL; }
    HRESULT UnregisterPin(const GUID&, const WCHAR*) override { return E_NOTIMPL; }
    HRESULT EnumMatchingFilters(IEnumRegFilters**, std::uint32_t, std::int32_t, const GUID&, const GUID&, std::int32_t,
                                std::int32_t, const GUID&, const GUID&) override {
        return E_NOTIMPL;
    }
} older;

/// What a class gives: an object or none, and a status.
bool gives = true;
HRESULT makes = S_OK;

IUnknown* aggregating = nullptr;  ///< what the last object was given

CUnknown* create(IUnknown* outer, HRESULT* status) {
    aggregating = outer;
    *status = makes;
    return gives ? new CUnknown(outer) : nullptr;
}

const AMOVIESETUP_FILTER kSetup{&kClass, u"filter", MERIT_DO_NOT_USE, 0, nullptr};
const CFactoryTemplate kTable[] = {{u"one", &kClass, create, nullptr, &kSetup},
                                   {u"page", &kClass, create, nullptr, nullptr},
                                   {u"two", &kClass, create, nullptr, &kSetup}};

TEST(ServerCore, RegistersByTheMapperThatIsThereAndEndsAtAFailure) {
    const test::TemporaryFile registry(std::vector<std::uint8_t>(kEmpty.begin(), kEmpty.end()));
    setRegistryFile(registry.path());
    SetFactoryTemplates(kTable, 3);
    const ModuleAttachment attachment(&kTable);
    // What the mappers say: newer, older, unregistering, registering. Then the status of registering with the calls of
    // its loop, and that of unregistering.
    const std::tuple<HRESULT, HRESULT, HRESULT, HRESULT, HRESULT, std::string, HRESULT, std::string> rows[] = {
        {S_OK, S_OK, kNotThere, S_OK, S_OK, "URUR", S_OK, "UU"},
        {S_OK, S_OK, kFails, S_OK, kFails, "U", kFails, "U"},
        {S_OK, S_OK, S_OK, kFails, kFails, "UR", S_OK, "UU"},
        {S_OK, S_OK, S_OK, kNotThere, S_OK, "URUR", S_OK, "UU"},
        {kFails, S_OK, kNotThere, S_OK, S_OK, "urur", S_OK, "uu"},
        {kFails, S_OK, kFails, S_OK, kFails, "u", kFails, "u"},
        {kFails, S_OK, S_OK, kFails, kFails, "ur", S_OK, "uu"},
        {E_FAIL, kFails, S_OK, S_OK, kFails, "", kFails, ""},
    };
    for (const auto& [newerSays, olderSays, unregistering, registering, status, calls, left, callsBack] : rows) {
        mappers = {newerSays, olderSays, unregistering, registering, ""};
        EXPECT_EQ(registerModule(), status);
        EXPECT_EQ(mappers.calls, calls);
        mappers.calls.clear();
        EXPECT_EQ(unregisterModule(), left);
        EXPECT_EQ(mappers.calls, callsBack);
        std::string name;
        EXPECT_EQ(readRegistryValue(classKey(kClass), "", name) == 0, FAILED(left)) << "its keys stay with it";
    }
    std::filesystem::remove(registry.path() + ".lock");
}

TEST(ServerCore, AClassThatFailsLeavesNoObject) {
    const std::tuple<bool, HRESULT, GUID, HRESULT> rows[] = {{true, S_OK, IUnknown::iid, S_OK},
                                                             {true, S_OK, IClassFactory::iid, E_NOINTERFACE},
                                                             {true, kFails, IUnknown::iid, kFails},
                                                             {false, kFails, IUnknown::iid, kFails},
                                                             {false, S_OK, IUnknown::iid, E_OUTOFMEMORY}};
    for (const auto& [object, result, asked, status] : rows) {
        CClassFactory factory(kTable[0]);
        const auto before = CBaseObject::ObjectsActive();
        gives = object;
        makes = result;
        ComPtr<IUnknown> made;
        EXPECT_EQ(factory.CreateInstance(nullptr, asked, made.putVoid()), status);
        EXPECT_EQ(static_cast<bool>(made), status == S_OK);
        EXPECT_EQ(factory.CreateInstance(nullptr, asked, nullptr), E_POINTER);
        EXPECT_EQ(CBaseObject::ObjectsActive() - before, status == S_OK ? 1 : 0);
    }
}

TEST(ServerCore, AnOuterObjectGetsTheIdentityAlone) {
    gives = true;
    makes = S_OK;
    aggregating = nullptr;
    CClassFactory factory(kTable[0]);
    ComPtr<IUnknown> inner;
    EXPECT_EQ(factory.CreateInstance(&newer, IClassFactory::iid, inner.putVoid()), E_NOINTERFACE);
    EXPECT_EQ(aggregating, nullptr) << "refused before anything is made";
    ASSERT_EQ(factory.CreateInstance(&newer, IUnknown::iid, inner.putVoid()), S_OK);
    EXPECT_EQ(aggregating, static_cast<IUnknown*>(&newer));
    EXPECT_NE(inner.get(), aggregating);
}

}  // namespace

/// In place of the system's.
HRESULT CoCreateInstance(const GUID& classId, IUnknown*, std::uint32_t, const GUID&, void** object) noexcept {
    const bool isNewer = classId == CLSID_FilterMapper2;
    const HRESULT status = isNewer ? mappers.newer : mappers.older;
    if (SUCCEEDED(status)) *object = isNewer ? static_cast<IUnknown*>(&newer) : &older;
    return status;
}
