// Classes by id: what is said of those that can't be made, and modules that come and go.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <string>
#include <thread>

#include "interfaces/class_ids.h"
#include "media/host/interfaces.h"
#include "platform/class_creation.h"
#include "platform/registry.h"
#include "support/registered_module.h"
#include "support/temporary_file.h"

namespace {

using namespace mcgate::platform;
using test::RegisteredModule;

HRESULT create(const GUID& classId, ComPtr<IBaseFilter>& filter) {
    return CoCreateInstance(classId, nullptr, CLSCTX_INPROC_SERVER, IBaseFilter::iid, filter.putVoid());
}

/// Lines of the process's map that name a file.
std::size_t mappedPieces(const std::string& part) {
    std::ifstream map("/proc/self/maps");
    std::size_t count = 0;
    for (std::string line; std::getline(map, line);) count += line.find(part) != std::string::npos ? 1 : 0;
    return count;
}

std::size_t openFiles() {
    const auto all = std::filesystem::directory_iterator("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

bool isLoaded() { return mappedPieces("/mcgate.AX") > 0; }

struct ClassCreation : testing::Test {
    const RegisteredModule& module = RegisteredModule::once();
    void SetUp() override { CoInitialize(nullptr); }
    void TearDown() override {
        CoFreeUnusedLibrariesEx(0, 0);
        EXPECT_FALSE(isLoaded());
        CoUninitialize();
    }
};

TEST_F(ClassCreation, SaysWhyAClassCannotBeMade) {
    const GUID classId = guid("{00000000-1111-2222-3333-444444444444}");
    const test::TemporaryFile noModule({'n', 'o'});
    const auto library = std::filesystem::path(RegisteredModule::path()).parent_path() / "libmcgate_process.so";
    const std::pair<std::string, HRESULT> paths[] = {
        {"/nowhere/mcgate.AX", CO_E_DLLNOTFOUND},
        {"mcgate.AX", CO_E_DLLNOTFOUND},
        {noModule.path(), CO_E_ERRORINDLL},
        {library, CO_E_ERRORINDLL},
        {RegisteredModule::path(), CLASS_E_CLASSNOTAVAILABLE},
    };
    ComPtr<IBaseFilter> filter;
    EXPECT_EQ(create(classId, filter), REGDB_E_CLASSNOTREG);
    for (const auto& [path, status] : paths) {
        ASSERT_EQ(writeRegistryValues(serverKey(classId), {{"", path}}), 0);
        EXPECT_EQ(create(classId, filter), status) << path;
    }
    EXPECT_EQ(deleteRegistryKey(classKey(classId)), 0);
    EXPECT_EQ(CoCreateInstance(CLSID_CNetworkSend, nullptr, CLSCTX_INPROC_SERVER, IBaseFilter::iid, nullptr),
              E_POINTER);
    CoUninitialize();
    EXPECT_EQ(create(CLSID_CNetworkSend, filter), CO_E_NOTINITIALIZED);
    EXPECT_EQ(CoInitialize(nullptr), S_OK);
    EXPECT_EQ(CoInitialize(nullptr), S_FALSE);
    CoUninitialize();
}

TEST_F(ClassCreation, AModuleComesAndGoesWithoutATrace) {
    std::size_t files = 0;
    std::size_t pieces = 0;
    for (int round = 0; round < 10; ++round) {
        ComPtr<IBaseFilter> sender;
        ComPtr<IBaseFilter> receiver;
        ASSERT_EQ(create(CLSID_CNetworkSend, sender), S_OK);
        ASSERT_EQ(create(CLSID_CNetworkReceiverFilter, receiver), S_OK);
        ASSERT_EQ(receiver->Run(0), S_OK);
        receiver.reset();
        CoFreeUnusedLibrariesEx(0, 0);
        ASSERT_TRUE(isLoaded()) << "a filter lives";
        sender.reset();
        CoFreeUnusedLibraries();
        ASSERT_TRUE(isLoaded()) << "it was in use a moment ago";
        CoFreeUnusedLibrariesEx(0, 0);
        ASSERT_FALSE(isLoaded());
        if (round == 0) files = openFiles();
        if (round == 0) pieces = mappedPieces("/");
    }
    EXPECT_EQ(openFiles(), files);
    EXPECT_EQ(mappedPieces("/"), pieces);
}

// A release may not meet the unloading, as its thread has yet to leave the module; creation may.
TEST_F(ClassCreation, NoObjectLosesItsModule) {
    constexpr int kMeetings = 20;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    std::mutex releasing;
    std::atomic<int> unloadings{0};
    std::atomic<bool> done{false};
    std::thread unloader([&] {
        while (!done) {
            const bool loaded = isLoaded();
            {
                const std::lock_guard hold(releasing);
                CoFreeUnusedLibrariesEx(0, 0);
            }
            if (loaded && !isLoaded()) ++unloadings;
        }
    });
    const auto use = [&] {
        while (unloadings < kMeetings && std::chrono::steady_clock::now() < deadline) {
            ComPtr<IBaseFilter> filter;
            GUID classId;
            EXPECT_EQ(create(CLSID_CNetworkReceiverFilter, filter), S_OK);
            EXPECT_EQ(filter->GetClassID(&classId), S_OK);
            EXPECT_EQ(classId, CLSID_CNetworkReceiverFilter);
            const std::lock_guard hold(releasing);
            filter.reset();
        }
    };
    std::thread other(use);
    use();
    other.join();
    done = true;
    unloader.join();
    EXPECT_GE(unloadings, kMeetings) << "creation and unloading hardly met";
}

}  // namespace
