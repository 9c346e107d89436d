// The module as its four entry points show it.

#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <set>
#include <string>

#include "graph/filter_graph.h"
#include "interfaces/class_ids.h"
#include "platform/class_creation.h"
#include "platform/dynamic_library.h"
#include "support/registered_module.h"

namespace {

using mcgate::platform::ComPtr;
using test::RegisteredModule;

struct Module : testing::Test {
    const mcgate::platform::DynamicLibrary library{RegisteredModule::path()};
    DllGetClassObjectFunction* const getClassObject = library.function<DllGetClassObjectFunction>("DllGetClassObject");
    DllCanUnloadNowFunction* const canUnloadNow = library.function<DllCanUnloadNowFunction>("DllCanUnloadNow");

    ComPtr<IClassFactory> factory(const GUID& classId) const {
        ComPtr<IClassFactory> result;
        EXPECT_EQ(getClassObject(classId, IClassFactory::iid, result.putVoid()), S_OK);
        return result;
    }
    template <class Interface>
    ComPtr<Interface> create(const GUID& classId) const {
        ComPtr<Interface> result;
        EXPECT_EQ(factory(classId)->CreateInstance(nullptr, Interface::iid, result.putVoid()), S_OK);
        return result;
    }
    void TearDown() override { EXPECT_EQ(canUnloadNow(), S_OK) << "something of the module was left"; }
};

TEST(ModuleFile, ExportsTheEntryPointsAlone) {
    FILE* const names = popen(("nm -D --defined-only " + RegisteredModule::path()).c_str(), "r");
    ASSERT_NE(names, nullptr);
    std::set<std::string> exported;
    char name[256];
    while (std::fscanf(names, "%*s %*s %255s", name) == 1) exported.insert(name);
    pclose(names);
    const std::set<std::string> wanted{"DllCanUnloadNow", "DllGetClassObject", "DllRegisterServer",
                                       "DllUnregisterServer"};
    EXPECT_EQ(exported, wanted);
}

TEST_F(Module, ClassObjectsAreRefusedByInterfaceBeforeClass) {
    const std::tuple<GUID, GUID, HRESULT> rows[] = {
        {CLSID_CNetworkReceiverFilter, IUnknown::iid, S_OK},
        {CLSID_CNetworkSend, IClassFactory::iid, S_OK},
        {CLSID_CNetworkSend, IBaseFilter::iid, E_NOINTERFACE},
        {CLSID_NetRecvSecondPage, IBaseFilter::iid, E_NOINTERFACE},
        {CLSID_NetRecvSecondPage, IClassFactory::iid, CLASS_E_CLASSNOTAVAILABLE},
    };
    for (const auto& [classId, interfaceId, status] : rows) {
        void* given = this;
        EXPECT_EQ(getClassObject(classId, interfaceId, &given), status);
        EXPECT_EQ(given != nullptr, status == S_OK);
        const auto object = ComPtr<IUnknown>::attach(static_cast<IUnknown*>(given));
        EXPECT_EQ(static_cast<bool>(object.query<IClassFactory>()), status == S_OK);
        EXPECT_FALSE(object.query<IBaseFilter>());
    }
    EXPECT_EQ(getClassObject(CLSID_CNetworkSend, IUnknown::iid, nullptr), E_POINTER);
}

// Aggregation and what a factory can't give: server_core_test, and the filters' own tests.

ComPtr<IUnknown> sampleOf(IBaseFilter& sender) {
    ComPtr<IMemAllocator> pool;
    ComPtr<IMediaSample> sample;
    ALLOCATOR_PROPERTIES properties{1, 1316, 1, 0};
    EXPECT_EQ(mcgate::host::findPin(sender, PINDIR_INPUT).query<IMemInputPin>()->GetAllocator(pool.put()), S_OK);
    EXPECT_EQ(pool->SetProperties(&properties, &properties), S_OK);
    EXPECT_EQ(pool->Commit(), S_OK);
    EXPECT_EQ(pool->GetBuffer(sample.put(), nullptr, nullptr, 0), S_OK);
    EXPECT_EQ(pool->Decommit(), S_OK);
    return sample.query<IUnknown>();
}

TEST_F(Module, MayNotBeUnloadedWhileAnythingOfItLives) {
    using Maker = std::function<ComPtr<IUnknown>(IBaseFilter & sender)>;
    const std::pair<const char*, Maker> makers[] = {
        {"factory", [this](IBaseFilter&) { return factory(CLSID_CNetworkSend).query<IUnknown>(); }},
        {"sender", [](IBaseFilter& sender) { return ComPtr<IBaseFilter>(&sender).query<IUnknown>(); }},
        {"receiver's page", [this](IBaseFilter&) { return create<IUnknown>(CLSID_CNetRecvProp); }},
        {"sender's page", [this](IBaseFilter&) { return create<IUnknown>(CLSID_CNetSendProp); }},
        {"receiver", [this](IBaseFilter&) { return create<IUnknown>(CLSID_CNetworkReceiverFilter); }},
        {"pin", [](IBaseFilter& sender) { return mcgate::host::findPin(sender, PINDIR_INPUT).query<IUnknown>(); }},
        {"enumerator",
         [](IBaseFilter& sender) {
             ComPtr<IEnumPins> pins;
             sender.EnumPins(pins.put());
             return pins.query<IUnknown>();
         }},
        {"allocator",
         [](IBaseFilter& sender) {
             ComPtr<IMemAllocator> pool;
             mcgate::host::findPin(sender, PINDIR_INPUT).query<IMemInputPin>()->GetAllocator(pool.put());
             return pool.query<IUnknown>();
         }},
        {"sample", sampleOf},
    };
    EXPECT_EQ(canUnloadNow(), S_OK);
    for (const auto& [name, make] : makers) {
        const ComPtr<IUnknown> held = make(*create<IBaseFilter>(CLSID_CNetworkSend));
        ASSERT_TRUE(held) << name;
        EXPECT_EQ(canUnloadNow(), S_FALSE) << name;
    }
    EXPECT_EQ(canUnloadNow(), S_OK);
    for (const bool lock : {true, true, false}) EXPECT_EQ(factory(CLSID_CNetworkSend)->LockServer(lock), S_OK);
    EXPECT_EQ(canUnloadNow(), S_FALSE) << "locked twice, and let go of once";
    EXPECT_EQ(factory(CLSID_CNetworkSend)->LockServer(false), S_OK);
}

}  // namespace
