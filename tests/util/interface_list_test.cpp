#include "util/interface_list.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <thread>
#include <vector>

#include "foundation/status.h"
#include "platform/socket.h"
#include "support/private_network.h"

namespace {

using namespace mcgate::util;
using mcgate::platform::AdapterFlag;

constexpr HRESULT kGeneralFailure = HRESULT_FROM_WIN32(31);

std::uint32_t word(const char* text) { return mcgate::platform::ipv4WordOfText(text); }

struct InterfaceListTest : testing::Test {
    void SetUp() override { forgetInterfaceList(); }
    void TearDown() override { forgetInterfaceList(); }
};

TEST_F(InterfaceListTest, HoldsEveryIPv4AddressWithFlagsBroadcastAndNetmask) {
    if (!test::inPrivateNetwork()) GTEST_SKIP() << "needs a private network";
    const test::Host other;
    other.run([] {
        test::ip(
            "link add name il0 type veth peer name il1\n"
            "addr add 10.66.0.1/20 brd 10.66.15.255 dev il0\naddr add 10.66.16.9/32 dev il0\n"
            "addr add fd66::1/64 dev il0\naddr add 10.66.0.2/24 dev il1\nlink set il0 up");
        EXPECT_EQ(FillInterfaceList(), S_OK);
    });
    const InterfaceList list = interfaceList();
    const auto find = [&list](const char* address) {
        return std::find_if(list.begin(), list.end(),
                            [address](const auto& one) { return one.iiAddress.word() == word(address); });
    };
    ASSERT_EQ(list.count, 4U);
    const auto* const loopback = find("127.0.0.1");
    const auto* const first = find("10.66.0.1");
    const auto* const down = find("10.66.0.2");
    ASSERT_NE(loopback, list.end());
    ASSERT_NE(first, list.end());
    ASSERT_NE(down, list.end());
    EXPECT_EQ(loopback->iiFlags, AdapterFlag::AdapterUp | AdapterFlag::AdapterLoopback);
    EXPECT_EQ(loopback->iiNetmask.word(), word("255.0.0.0"));
    EXPECT_EQ(loopback->iiBroadcastAddress.word(), 0U);
    EXPECT_EQ(first->iiFlags, AdapterFlag::AdapterUp | AdapterFlag::AdapterBroadcast | AdapterFlag::AdapterMulticast);
    EXPECT_EQ(first->iiBroadcastAddress.word(), word("10.66.15.255"));
    EXPECT_EQ(first->iiNetmask.word(), word("255.255.240.0"));
    EXPECT_EQ(down->iiFlags, AdapterFlag::AdapterBroadcast | AdapterFlag::AdapterMulticast);
    EXPECT_EQ(find("10.66.16.9")->iiNetmask.word(), 0xFFFFFFFFU);
}

TEST_F(InterfaceListTest, IsTakenOnceHoweverManyFillIt) {
    EXPECT_FALSE(interfaceList().isFilled());
    std::vector<HRESULT> statuses(8, E_UNEXPECTED);
    std::vector<std::thread> pages;
    for (auto& status : statuses) {
        pages.emplace_back([&status, &statuses] {
            status = &status == &statuses.front() ? FillInterfaceList() : FillInterfaceListOnce();
        });
    }
    for (auto& page : pages) page.join();
    EXPECT_TRUE(std::all_of(statuses.begin() + 1, statuses.end(), [](HRESULT status) { return status == S_OK; }));
    const auto* const entries = interfaceList().entries;
    EXPECT_EQ(FillInterfaceList(), kGeneralFailure);
    EXPECT_EQ(FillInterfaceListOnce(), S_OK);
    EXPECT_EQ(interfaceList().entries, entries);
}

TEST_F(InterfaceListTest, ThirtyTwoAddressesAreTheMost) {
    if (!test::inPrivateNetwork()) GTEST_SKIP() << "needs a private network";
    const test::Host other;
    other.run([] {
        for (int i = 2; i <= 32; ++i) test::ip("addr add 127.0.0." + std::to_string(i) + "/8 dev lo");
        EXPECT_EQ(FillInterfaceListOnce(), S_OK);
        EXPECT_EQ(interfaceList().count, 32U);
        forgetInterfaceList();
        test::ip("addr add 127.0.0.33/8 dev lo");
        EXPECT_EQ(FillInterfaceListOnce(), kGeneralFailure);
        EXPECT_FALSE(interfaceList().isFilled());
    });
}

TEST_F(InterfaceListTest, AHostWithoutAddressesHasAnEmptyListThatIsFilled) {
    if (!test::inPrivateNetwork()) GTEST_SKIP() << "needs a private network";
    const test::Host other;
    other.run([] {
        test::ip("addr flush dev lo");
        EXPECT_EQ(FillInterfaceListOnce(), S_OK);
    });
    EXPECT_TRUE(interfaceList().isFilled());
    EXPECT_EQ(interfaceList().count, 0U);
}

}  // namespace
