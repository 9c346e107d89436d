#include "util/ip_interface_monitor.h"

#include <gtest/gtest.h>

#include <chrono>
#include <map>
#include <stdexcept>
#include <thread>
#include <utility>

#include "platform/socket.h"
#include "support/notes.h"

namespace {

using namespace mcgate::platform;
using mcgate::util::InterfaceSystem;
using mcgate::util::IpInterfaceMonitor;
using Event = std::pair<std::uint32_t, bool>;
using Events = std::vector<Event>;

Adapter adapterOf(std::uint32_t index, std::initializer_list<const char*> texts) {
    Adapter adapter;
    adapter.index = index;
    for (const char* text : texts) {
        adapter.unicast.emplace_back();
        EXPECT_EQ(resolveNumeric(text, 0, adapter.unicast.back().address), 0);
    }
    return adapter;
}

/// Interfaces as the test sets them, before the monitor is made or on the test's thread; what the owner hears; and the
/// changes, told by the test.
struct IpInterfaceMonitorTest : testing::Test {
    std::map<std::uint32_t, bool> states{{2, true}, {3, false}, {5, true}};
    std::vector<Adapter> adapters{adapterOf(2, {"10.0.2.1", "10.0.2.2", "fd02::1"}), adapterOf(3, {"10.0.3.1"}),
                                  adapterOf(5, {"10.0.5.1", "10.0.2.1"})};
    bool listRefused = false;
    bool notificationRefused = false;
    std::chrono::milliseconds takesTime{0};  ///< each call of the callback
    InterfaceSystem::AddressChange change;
    test::Notes<Event> heard;
    std::weak_ptr<int> registration;

    std::unique_ptr<IpInterfaceMonitor> make() {
        auto monitor = std::make_unique<IpInterfaceMonitor>(
            [this](std::uint32_t index, bool up) { hear(index, up); },
            InterfaceSystem{[this](InterfaceSystem::AddressChange told) { return take(std::move(told)); },
                            [this](std::uint32_t index) { return states.contains(index) && states[index]; },
                            [this](std::vector<Adapter>& list) {
                                list = adapters;
                                return !listRefused;
                            }});
        return monitor;
    }
    /// What came up to an event that the test provokes: interface 99, which is always told last.
    Events eventsOf(IpInterfaceMonitor& monitor) {
        const auto before = adapters;
        adapters = {adapterOf(99, {"10.0.99.1"})};
        monitor.WatchAddresses({"10.0.99.1"});
        adapters = before;
        EXPECT_TRUE(heard.waitFor([](const Events& all) { return !all.empty() && all.back().first == 99; }));
        Events result = heard.take();
        if (!result.empty()) result.pop_back();
        return result;
    }

private:
    void hear(std::uint32_t index, bool up) {
        if (takesTime.count() > 0) std::this_thread::sleep_for(takesTime);
        heard.add({index, up});
    }
    std::shared_ptr<void> take(InterfaceSystem::AddressChange told) {
        if (notificationRefused) throw std::runtime_error("refused");
        change = std::move(told);
        auto made = std::make_shared<int>();
        registration = made;
        return made;
    }
};

TEST_F(IpInterfaceMonitorTest, WatchingTellsTheStateOfEachInterfaceOnce) {
    const auto monitor = make();
    // Two on one interface, a text that is not canonical, one that nobody has, and the wildcard.
    monitor->WatchAddresses({"10.0.5.1", "10.0.3.1", "10.0.2.2", "fd02::1", "FD02::1", "10.0.9.9", "0.0.0.0", ""});
    EXPECT_EQ(eventsOf(*monitor), (Events{{2, true}, {3, false}, {5, true}}));
    monitor->WatchAddresses({"10.0.3.1"});
    monitor->WatchAddresses({"10.0.3.1"});
    EXPECT_FALSE(monitor->IsWatched(2)) << "not any more";
    EXPECT_EQ(eventsOf(*monitor), (Events{{3, false}, {3, false}}));
    monitor->WatchAddresses({"FD02::1"});
    monitor->WatchAddresses({"10.0.2.1"});  // the first of two that carry it
    EXPECT_EQ(eventsOf(*monitor), (Events{{2, true}}));
    monitor->WatchAddresses({});
    EXPECT_FALSE(monitor->IsWatched(2));
    EXPECT_EQ(eventsOf(*monitor), Events{});
    listRefused = true;
    monitor->WatchAddresses({"10.0.2.1"});
    std::uint32_t index = 7;
    EXPECT_FALSE(monitor->FindInterfaceByAddressText("10.0.2.1", index));
    EXPECT_EQ(index, 7U);
    EXPECT_FALSE(monitor->IsWatched(2));
}

TEST_F(IpInterfaceMonitorTest, EveryChangeOfAWatchedInterfaceIsTold) {
    const auto monitor = make();
    monitor->WatchAddresses({"10.0.2.1"});
    change(kFamilyIPv4, 3);
    change(kFamilyNone, 2);
    change(kFamilyIPv4, 2);
    change(kFamilyIPv6, 2);
    states.erase(2);
    change(kFamilyIPv4, 2);
    EXPECT_EQ(eventsOf(*monitor), (Events{{2, true}, {2, true}, {2, true}, {2, false}}))
        << "repeats, too; an interface that is gone is down";
}

TEST_F(IpInterfaceMonitorTest, ASlowCallbackHoldsNobodyUpAndLosesNothing) {
    const auto monitor = make();
    heard.hold(true);
    monitor->WatchAddresses({"10.0.2.1"});
    ASSERT_TRUE(heard.waitForCount(1));
    Events expected{{2, true}};
    for (int i = 0; i < 1000; ++i) {
        states[2] = i % 3 == 0;
        expected.emplace_back(2, states[2]);
        change(kFamilyIPv4, 2);
    }
    heard.hold(false);
    EXPECT_EQ(eventsOf(*monitor), expected);
}

TEST_F(IpInterfaceMonitorTest, EndingDropsWhatIsQueuedAndTheNotification) {
    constexpr std::size_t kMany = 10'000;
    auto monitor = make();
    takesTime = std::chrono::milliseconds(1);  // so that all of them would take longer than a test waits
    monitor->WatchAddresses({"10.0.2.1"});
    for (std::size_t i = 0; i < kMany; ++i) change(kFamilyIPv4, 2);
    ASSERT_TRUE(heard.waitForCount(1));
    monitor.reset();
    EXPECT_TRUE(registration.expired());
    EXPECT_LT(heard.all().size(), kMany);
}

TEST_F(IpInterfaceMonitorTest, WithoutNotificationWatchingStillTells) {
    notificationRefused = true;
    const auto monitor = make();
    monitor->WatchAddresses({"10.0.2.1"});
    EXPECT_EQ(eventsOf(*monitor), (Events{{2, true}}));
}

}  // namespace
