// What the module writes into the registry, and what it says when it can't.

#include <gtest/gtest.h>
#include <linux/capability.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "interfaces/class_ids.h"
#include "media/host/interfaces.h"
#include "platform/class_creation.h"
#include "platform/dynamic_library.h"
#include "platform/errors.h"
#include "platform/registry.h"
#include "support/registered_module.h"

namespace {

namespace fs = std::filesystem;
using namespace mcgate::platform;
using test::RegisteredModule;

constexpr const char* kMapperKey = "CLSID\\{083863F1-70DE-11D0-BD40-00A0C911CE86}\\Instance\\";
constexpr HRESULT kBroken = HRESULT_FROM_WIN32(ErrorInvalidData);
constexpr HRESULT kDenied = HRESULT_FROM_WIN32(ErrorAccessDenied);

/// A registry in a directory of its own, and the module that registers itself there.
struct Registration : testing::Test {
    const DynamicLibrary library{RegisteredModule::path()};
    DllRegistrationFunction* const registerServer = library.function<DllRegistrationFunction>("DllRegisterServer");
    DllRegistrationFunction* const unregisterServer = library.function<DllRegistrationFunction>("DllUnregisterServer");
    const std::string before = registryFile();
    std::string directory = fs::temp_directory_path() / "mcgate-registration-XXXXXX";
    std::string file;

    void SetUp() override {
        ASSERT_NE(mkdtemp(directory.data()), nullptr);
        file = directory + "/registry";
        setRegistryFile(file);
    }
    void TearDown() override {
        setRegistryFile(before);
        fs::remove_all(directory);
    }
    void write(const std::string& text) const { std::ofstream(file) << text; }
    std::string text() const {
        std::ifstream stream(file);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    static std::string value(const std::string& key, const std::string& name = "") {
        std::string found;
        const int status = readRegistryValue(key, name, found);
        return status == 0 ? found : "error " + std::to_string(status);
    }
};

TEST_F(Registration, WritesEachClassOnceAndTakesAllAway) {
    EXPECT_EQ(unregisterServer(), S_OK) << "nothing is there";
    EXPECT_FALSE(fs::exists(file));
    ASSERT_EQ(registerServer(), S_OK);
    const std::string once = text();
    EXPECT_EQ(registerServer(), S_OK);
    EXPECT_EQ(text(), once);
    const std::tuple<GUID, std::string, bool> classes[] = {
        {CLSID_CNetworkReceiverFilter, "Quorvel Multicast Receiver", true},
        {CLSID_CNetRecvProp, "Net Receive Properties", false},
        {CLSID_CNetworkSend, "Quorvel Multicast Sender", true},
        {CLSID_CNetSendProp, "Send Properties", false},
    };
    for (const auto& [id, name, isFilter] : classes) {
        EXPECT_EQ(value(classKey(id)), name);
        EXPECT_EQ(value(classKey(id) + "\\InprocServer32"), RegisteredModule::path());
        EXPECT_EQ(value(classKey(id) + "\\InprocServer32", "ThreadingModel"), "Both");
        EXPECT_EQ(value(kMapperKey + guidText(id), "FriendlyName"), isFilter ? name : "error 2");
        EXPECT_EQ(value(kMapperKey + guidText(id), "Merit"), isFilter ? "0x00200000" : "error 2");
    }
    std::vector<std::string> keys;
    EXPECT_EQ(listRegistryKeys("clsid", keys), 0);
    EXPECT_EQ(keys.size(), std::size(classes) + 1) << "with the category";
    ASSERT_EQ(writeRegistryValues("CLSID\\{another}", {{"", "kept"}}), 0);
    for (int i = 0; i < 2; ++i) EXPECT_EQ(unregisterServer(), S_OK);
    EXPECT_EQ(text(), "mcgate registry 1\n\n[HKEY_CLASSES_ROOT\\CLSID\\{another}]\n@=\"kept\"\n");
}

// Without the right of a superuser to write where nobody may.
HRESULT withoutPrivilege(DllRegistrationFunction* action) {
    HRESULT status = S_OK;
    std::thread([&] {
        __user_cap_header_struct who{_LINUX_CAPABILITY_VERSION_3, 0};
        __user_cap_data_struct none[2]{};
        EXPECT_EQ(syscall(SYS_capset, &who, none), 0);
        status = action();
    }).join();
    return status;
}

TEST_F(Registration, SaysWhatTheRegistrySays) {
    setRegistryFile(directory + "/missing/registry");
    EXPECT_EQ(registerServer(), HRESULT_FROM_WIN32(ErrorPathNotFound));
    EXPECT_EQ(unregisterServer(), S_OK) << "an empty registry";
    const std::string folder = directory + "/folder";
    fs::create_directory(folder);
    setRegistryFile(folder);
    EXPECT_EQ(registerServer(), kBroken);
    setRegistryFile(file);
    for (const char* broken : {"no registry", "mcgate registry 1\n@=\"no key\"", "mcgate registry 1\n[HKEY_USERS\\x]",
                               "mcgate registry 1\n[HKEY_CLASSES_ROOT\\x]\n@=\"cut"}) {
        write(broken);
        EXPECT_EQ(registerServer(), kBroken) << broken;
        EXPECT_EQ(unregisterServer(), kBroken) << broken;
        EXPECT_EQ(text(), broken) << "what nobody understands is left to its owner";
    }
    fs::remove(file);
    ASSERT_EQ(registerServer(), S_OK);
    const std::string whole = text();
    const auto deniedWith = [&](const std::string& path, fs::perms rights) {
        fs::permissions(path, rights);
        EXPECT_EQ(withoutPrivilege(registerServer), kDenied) << path;
        EXPECT_EQ(withoutPrivilege(unregisterServer), kDenied) << path;
        EXPECT_EQ(text(), whole) << path;
        fs::permissions(path, fs::perms::owner_all);
    };
    deniedWith(file, fs::perms::owner_read);
    deniedWith(directory, fs::perms::owner_read | fs::perms::owner_exec);
}

TEST_F(Registration, RefusesAPathThatIsTooLong) {
    const std::string deep = directory + "/" + std::string(250, 'd');
    fs::create_directory(deep);
    fs::copy_file(RegisteredModule::path(), deep + "/mcgate.AX");
    const DynamicLibrary distant(deep + "/mcgate.AX");
    EXPECT_EQ(distant.function<DllRegistrationFunction>("DllRegisterServer")(),
              HRESULT_FROM_WIN32(ErrorInsufficientBuffer));
    EXPECT_FALSE(fs::exists(file));
}

TEST_F(Registration, AFilterRegistersItselfAloneWithTheOlderMapper) {
    ComPtr<IClassFactory> factory;
    ComPtr<IAMovieSetup> filter;
    auto* const getClassObject = library.function<DllGetClassObjectFunction>("DllGetClassObject");
    ASSERT_EQ(getClassObject(CLSID_CNetworkSend, IClassFactory::iid, factory.putVoid()), S_OK);
    ASSERT_EQ(factory->CreateInstance(nullptr, IAMovieSetup::iid, filter.putVoid()), S_OK);
    for (int i = 0; i < 2; ++i) EXPECT_EQ(filter->Register(), S_OK);
    EXPECT_EQ(value(kMapperKey + guidText(CLSID_CNetworkSend), "FriendlyName"), "Quorvel Multicast Sender");
    EXPECT_EQ(value(classKey(CLSID_CNetworkSend)), "error 2");
    for (int i = 0; i < 2; ++i) EXPECT_EQ(filter->Unregister(), S_OK);
    EXPECT_EQ(value(kMapperKey + guidText(CLSID_CNetworkSend), "FriendlyName"), "error 2");
    write("no registry");
    EXPECT_EQ(filter->Register(), S_OK) << "whatever the mapper says";
    EXPECT_EQ(filter->Unregister(), kBroken);
}

// Two commands come and go, and this process writes: no change of one undoes that of another.
TEST_F(Registration, ProcessesAtOnceLoseNothing) {
    const std::string command = std::string(MCGATE_COMMAND) + " --registry " + file + " ";
    const std::string loop = "for i in 1 2 3 4 5 6 7 8 9 10; do " + command + "register && " + command +
                             "unregister || exit 1; done >" + directory + "/told 2>&1";
    FILE* const children[] = {popen(loop.c_str(), "r"), popen(loop.c_str(), "r")};
    constexpr std::size_t kWritten = 100;
    std::vector<std::string> keys;
    for (std::size_t i = 1; i <= kWritten; ++i) {
        EXPECT_EQ(writeRegistryValues("Kept\\" + std::to_string(i), {}), 0);
        EXPECT_EQ(listRegistryKeys("Kept", keys), 0);
        EXPECT_EQ(keys.size(), i);
    }
    for (FILE* const child : children) EXPECT_EQ(pclose(child), 0);
    EXPECT_EQ(listRegistryKeys("Kept", keys), 0);
    EXPECT_EQ(keys.size(), kWritten);
    EXPECT_EQ(listRegistryKeys("CLSID", keys), int{ErrorFileNotFound}) << "the last one took everything away";
}

TEST_F(Registration, AFileThatAPersonEditedIsRead) {
    write(
        "mcgate registry 1\r\n; remark\n\n[hkey_classes_root\\CLSID\\{a}] \n@=\"a \\\"b\\\" \\\\ c\\nd\"\n\"X "
        "y\"=\"\"\n");
    EXPECT_EQ(value("clsid\\{A}"), "a \"b\" \\ c\nd");
    EXPECT_EQ(value("CLSID\\{a}", "x Y"), "");
    ASSERT_EQ(writeRegistryValues("CLSID\\{A}", {{"", "new"}}), 0);
    EXPECT_EQ(text(), "mcgate registry 1\n\n[HKEY_CLASSES_ROOT\\CLSID\\{a}]\n@=\"new\"\n\"X y\"=\"\"\n");
}

}  // namespace
