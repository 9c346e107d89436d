// What the kernel's notices about interfaces become, in a private network with a cable whose other end is at hand.

#include <gtest/gtest.h>
#include <net/if.h>

#include <algorithm>
#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "platform/address_change_notification.h"
#include "platform/interface_state.h"
#include "platform/socket_address.h"
#include "support/notes.h"
#include "support/private_network.h"

namespace {

using namespace mcgate::platform;

struct Notice {
    std::uint16_t family;
    std::uint32_t index;
    bool up;  ///< the state when the notice came
    friend bool operator==(const Notice&, const Notice&) = default;
    friend std::ostream& operator<<(std::ostream& out, const Notice& notice) {
        return out << notice.family << " on " << notice.index << (notice.up ? " up" : " down");
    }
};
using Notices = std::vector<Notice>;

/// Notices as they come.
class Notebook : public test::Notes<Notice> {
public:
    void add(std::uint16_t family, std::uint32_t index) { Notes::add({family, index, isInterfaceUp(index)}); }
    /// What came since the last call up to a notice that the test provokes, or right behind it: an address on lo that
    /// comes. A carrier's change may be told while that is waited for.
    Notices upToMark() {
        static int mark = 2;
        test::ip("addr add 127.9.9." + std::to_string(mark++) + "/8 dev lo");
        const Notice last{kFamilyIPv4, 1, true};
        EXPECT_TRUE(waitFor([&](const Notices& all) { return std::find(all.begin(), all.end(), last) != all.end(); }));
        Notices result = take();
        std::erase(result, last);
        return result;
    }
};

/// mc0 is here, mc1 the other end of its cable.
struct InterfaceNotices : testing::Test {
    Notebook notebook;
    std::uint32_t index = 0;
    std::optional<AddressChangeNotification> notification;

    void SetUp() override {
        if (!test::inPrivateNetwork()) GTEST_SKIP() << "needs a private network";
        test::setNetworkOption("ipv6/conf/default/disable_ipv6", "1");
        notification.emplace([this](std::uint16_t family, std::uint32_t about) { notebook.add(family, about); });
        test::ip(
            "link add name mc0 type veth peer name mc1\naddr add 10.66.0.1/24 dev mc0\nlink set mc0 up\n"
            "link set mc1 up");
        index = if_nametoindex("mc0");
        ASSERT_TRUE(notebook.waitFor([this](const Notices& all) {
            return std::any_of(all.begin(), all.end(),
                               [this](const Notice& one) { return one.index == index && one.up; });
        }));
        notebook.upToMark();
    }
    void TearDown() override {
        notification.reset();
        if (if_nametoindex("mc0") != 0) test::ip("link del mc0");
    }
    /// Those about mc0, of which there is at least one, or none when nothing is expected.
    Notices noticesOf(const std::string& lines, bool expected = true) {
        test::ip(lines);
        const auto isOurs = [this](const Notice& one) { return one.index == index; };
        if (expected) {
            // A carrier's change is told some milliseconds after the fact.
            EXPECT_TRUE(
                notebook.waitFor([&](const Notices& all) { return std::any_of(all.begin(), all.end(), isOurs); }));
        }
        Notices all = notebook.upToMark();
        std::erase_if(all, std::not_fn(isOurs));
        return all;
    }
};

TEST_F(InterfaceNotices, TellChangesOfAddressAndOfStateAndNoOthers) {
    const Notice up{kFamilyIPv4, index, true};
    const Notice down{kFamilyIPv4, index, false};
    EXPECT_TRUE(isInterfaceUp(1)) << "lo, whose operational state is unknown";
    EXPECT_TRUE(isInterfaceUp(index));
    EXPECT_EQ(noticesOf("link set mc1 down"), Notices{down}) << "cable pulled";
    EXPECT_EQ(noticesOf("link set mc1 up"), Notices{up}) << "cable back";
    EXPECT_EQ(noticesOf("link set mc0 down"), Notices{down});
    EXPECT_EQ(noticesOf("link set mc0 up"), Notices{up});
    EXPECT_EQ(noticesOf("addr add 10.66.0.7/24 dev mc0"), Notices{up});
    EXPECT_EQ(noticesOf("addr del 10.66.0.7/24 dev mc0"), Notices{up});
    EXPECT_EQ(noticesOf("link set mc0 mtu 1400\nlink set mc0 allmulticast on", false), Notices{});
    EXPECT_EQ(
        noticesOf("link add name br0 type bridge\nlink set mc0 master br0\nlink set mc0 nomaster\nlink del br0", false),
        Notices{})
        << "a bridge's own notices about its ports";
    const Notices gone = noticesOf("link del mc0");
    ASSERT_FALSE(gone.empty());
    EXPECT_EQ(gone.back(), down);
    EXPECT_FALSE(isInterfaceUp(index));
}

TEST_F(InterfaceNotices, OverrunQueueEndsInANoticeForEveryInterface) {
    notebook.hold(true);
    test::ip("addr add 10.66.0.7/24 dev mc0");
    ASSERT_TRUE(notebook.waitFor([](const Notices& all) { return !all.empty(); }));
    std::string many;
    for (int i = 0; i < 6000; ++i) many += "link set mc0 mtu " + std::to_string(1300 + i % 2) + "\n";
    test::ip(many + "link set mc1 down");
    notebook.hold(false);
    const auto lastIs = [this](bool up) {
        return [this, up](const Notices& all) {
            const auto last =
                std::find_if(all.rbegin(), all.rend(), [&](const Notice& one) { return one.index == index; });
            return last != all.rend() && last->up == up;
        };
    };
    EXPECT_TRUE(notebook.waitFor(lastIs(false)));
    EXPECT_TRUE(notebook.waitFor([](const Notices& all) {
        return std::any_of(all.begin(), all.end(), [](const Notice& one) { return one.index == 1; });
    })) << "lo, to which nothing happened";
    test::ip("link set mc1 up");
    EXPECT_TRUE(notebook.waitFor(lastIs(true))) << "changes are seen as before";
}

}  // namespace
