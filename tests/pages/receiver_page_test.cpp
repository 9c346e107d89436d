// The receiver's page, as a user and the receiver's worker meet it.

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "foundation/status.h"
#include "pages/edit_control.h"
#include "pages/net_recv_prop.h"
#include "pages/page_fixture.h"
#include "platform/errors.h"
#include "receiver/receiver_filter_fixture.h"
#include "support/configuration.h"
#include "support/fake_listener.h"
#include "support/private_network.h"

namespace {

using page_ids::kAddress, page_ids::kApply, page_ids::kDataState, page_ids::kInterface, page_ids::kSource,
    page_ids::kTimeout;
constexpr std::int32_t kPortField = page_ids::kPort;
using mcgate::platform::IDialog;
using test::ComPtr;
namespace udp = quorvel::network::udp::lib_udp::v2_1;
using Page = test::OpenPage<CNetRecvProp>;

struct ReceiverPage : test::ReceiverFilterTest {
    Page user;

    void SetUp() override {
        test::ReceiverFilterTest::SetUp();
        mcgate::util::forgetInterfaceList();
    }
    void TearDown() override {
        user.close();
        test::ReceiverFilterTest::TearDown();
    }
    IUnknown* object() { return filter->GetOwner(); }
    std::string configured() { return test::sourceOf(*filter); }
    std::uint32_t timeOut() {
        std::uint32_t milliseconds = 0;
        filter->GetTimeout(&milliseconds);
        return milliseconds;
    }
    /// Whether the control comes to show this text.
    static bool shows(IDialog& dialog, std::int32_t id, const std::string& text) {
        return test::eventually([&] { return test::textOf(dialog, id) == text; });
    }
};

TEST_F(ReceiverPage, ShowsWhatTheFilterHas) {
    ASSERT_EQ(filter->SetSource(5000, u"0.0.0.0", u"239.1.2.3", u"10.0.0.9"), S_OK);
    filter->SetTimeout(4321);
    user.open(object());
    EXPECT_EQ(user.frame.text(kAddress), "239.1.2.3");
    EXPECT_EQ(user.frame.text(kInterface), "any");
    EXPECT_EQ(user.frame.text(kPortField), "5000");
    EXPECT_EQ(user.frame.text(kSource), "10.0.0.9");
    EXPECT_EQ(user.frame.text(kTimeout), "4321");
    EXPECT_EQ(user.frame.text(kDataState), "No data");

    ASSERT_EQ(filter->SetSource(5001, u"127.0.0.1", u"239.1.2.3", u""), S_OK);
    filter->SetTimeout(-1);
    user.page->Refresh();
    EXPECT_EQ(user.frame.text(kInterface), "undefined") << "the list doesn't have it";
    EXPECT_EQ(user.frame.text(kSource), "0.0.0.0");
    EXPECT_EQ(user.frame.text(kTimeout), "-1") << "as it would be typed";
    EXPECT_EQ(configured(), "127.0.0.1 5001 239.1.2.3 0.0.0.0");
}

TEST_F(ReceiverPage, AnUnconfiguredFilterLeavesTheFieldsAsTheyAre) {
    user.open(object());
    user.frame.type(kAddress, "typed");
    user.frame.type(kTimeout, "typed");
    user.page->OnDataPresenceChanged(true);
    EXPECT_EQ(user.frame.text(kAddress), "typed");
    EXPECT_EQ(user.frame.text(kTimeout), "5000");
    EXPECT_EQ(user.frame.text(kDataState), "No data") << "the filter is asked, whatever it told";
}

TEST_F(ReceiverPage, ListsUsableInterfacesAndAppliesWhatIsSelectedOrTyped) {
    if (!test::inPrivateNetwork()) GTEST_SKIP() << "needs a network of its own";
    test::ip(
        "link add name plain type veth peer name deaf\n"
        "link add name down type veth peer name bare\n"
        "addr add 10.66.0.1/24 dev plain\naddr add 10.66.1.1/24 dev deaf\naddr add 10.66.2.1/24 dev down\n"
        "link set deaf multicast off\nlink set plain up\nlink set deaf up\n");
    user.open(object());
    EXPECT_EQ(user.frame.items(kInterface), "10.66.0.1 any undefined ");
    user.frame.type(kAddress, "239.1.2.3");
    user.frame.type(kPortField, "5000");
    const std::vector<std::pair<std::function<void()>, const char*>> choices = {
        {[&] { user.frame.dialog->SetSelection(kInterface, 0); }, "10.66.0.1"},
        {[&] { user.frame.dialog->SetSelection(kInterface, 1); }, "0.0.0.0"},
        {[&] { user.frame.type(kInterface, "10.66.1.1"); }, "10.66.1.1"},
        {[&] { user.frame.dialog->SetSelection(kInterface, 2); }, "10.66.1.1"},  // refused
        {[&] { user.frame.type(kInterface, "any"); }, "10.66.1.1"},              // the same
    };
    for (const auto& [choose, local] : choices) {
        choose();
        user.frame.press(kApply);
        EXPECT_EQ(configured(), std::string(local) + " 5000 239.1.2.3 0.0.0.0");
    }
    user.page->Refresh();
    EXPECT_EQ(user.frame.text(kInterface), "undefined");

    test::ip("link del dev plain\nlink del dev down\n");
    test::OpenPage<CNetRecvProp> later;
    later.open(object());
    EXPECT_EQ(later.frame.items(kInterface), "10.66.0.1 any undefined ") << "the list is taken once";
}

TEST_F(ReceiverPage, NumbersAreReadAsFarAsTheyGo) {
    user.open(object());
    user.frame.type(kAddress, "0.0.0.0");
    user.frame.type(kInterface, "127.0.0.1");
    const std::pair<const char*, int> cases[] = {
        {"5000abc", 5000},
        {" \t+77 8", 77},
        {"-1", 65535},
        {"99999999999", 65535},
        {"-99999999999", 65535}  // its low half is 0, which is refused
    };
    for (const auto& [typed, port] : cases) {
        user.frame.type(kPortField, typed);
        user.frame.type(kTimeout, typed);
        user.frame.press(0x30000 | kApply);  // whatever the notification code
        EXPECT_EQ(configured(), "127.0.0.1 " + std::to_string(port) + " 0.0.0.0 0.0.0.0");
    }
    EXPECT_EQ(timeOut(), 0x80000000U);
}

TEST_F(ReceiverPage, WhatIsRefusedLeavesTheSourceAndStillWritesTheTimeOut) {
    ASSERT_EQ(listenOn(5000), S_OK);
    user.open(object());
    const std::string before = configured();
    const std::pair<std::int32_t, const char*> cases[] = {
        {kPortField, ""},      {kPortField, "many"},          {kAddress, ""},       {kAddress, "here"},
        {kAddress, "ff15::1"}, {kAddress, "255.255.255.255"}, {kAddress, "0x7f.1"}, {kSource, "there"}};
    std::uint32_t milliseconds = 100;
    for (const auto& [control, text] : cases) {
        user.page->Refresh();
        user.frame.dialog->SetSelection(kInterface, user.frame.dialog->GetItemCount(kInterface) - 2);  // any
        user.frame.type(kSource, "");
        user.frame.type(kAddress, "239.1.2.3");
        user.frame.type(control, text);
        user.frame.type(kTimeout, std::to_string(++milliseconds));
        user.frame.press(kApply);
        EXPECT_EQ(configured(), before) << control << " " << text;
        EXPECT_EQ(timeOut(), milliseconds);
    }
    for (const char* none : {"", "letters"}) {
        filter->SetTimeout(5000);
        user.frame.type(kTimeout, none);
        user.frame.press(kApply);
        EXPECT_EQ(timeOut(), 0U);
    }
}

TEST_F(ReceiverPage, AnswersMessages) {
    ASSERT_EQ(listenOn(5000), S_OK);
    user.open(object());
    auto& dialog = *user.frame.dialog;
    EXPECT_EQ(dialog.SendMessage(WM_INITDIALOG, 0, 0), 1);
    EXPECT_EQ(user.frame.press(kPortField), 1);
    EXPECT_EQ(user.frame.press(kApply), 1);
    EXPECT_EQ(dialog.SendMessage(0x400, kApply, 0), 0);
    CEditControl port(dialog, kPortField);
    port.Clear();
    EXPECT_EQ(user.frame.text(kPortField), "");
    EXPECT_EQ(user.page->IsPageDirty(), S_FALSE) << "never";

    EXPECT_EQ(dialog.SendMessage(WM_DESTROY, 0, 0), 0);
    const auto seen = dialog.GetChangeCount();
    user.page->OnDataPresenceChanged(true);
    EXPECT_EQ(user.frame.press(kApply), 1);
    EXPECT_EQ(dialog.GetChangeCount(), seen) << "a page without a dialog does nothing";
}

TEST_F(ReceiverPage, StaysClosedWhenItCannotConnect) {
    EXPECT_EQ(user.connect(user.page->GetOwner()), E_NOINTERFACE);
    EXPECT_EQ(user.frame.activate(*user.page), E_UNEXPECTED);

    if (!test::inPrivateNetwork()) GTEST_SKIP() << "the rest needs a network of its own";
    std::string many = "link add name full type veth peer name other\n";
    for (int i = 1; i <= 40; ++i) many += "addr add 10.67.0." + std::to_string(i) + "/24 dev full\n";
    test::ip(many);
    mcgate::util::forgetInterfaceList();
    EXPECT_EQ(user.connect(object()), HRESULT_FROM_WIN32(mcgate::platform::ErrorGenFailure));
    EXPECT_EQ(user.frame.activate(*user.page), E_UNEXPECTED);
    test::ip("link del dev full\n");
    EXPECT_EQ(user.connect(object()), S_OK);
}

TEST_F(ReceiverPage, OpensWithoutARefreshWhenAComboIsFull) {
    ASSERT_EQ(listenOn(5000), S_OK);
    const test::CrampedResources cramped(page_ids::kReceiverDialog, {0});
    Page page(cramped.resources());
    page.open(object());
    EXPECT_EQ(page.page->OnActivate(), E_FAIL);
    EXPECT_EQ(page.frame.text(kPortField), "");
    EXPECT_EQ(page.frame.text(kDataState), "");
    page.page->Refresh();
    EXPECT_EQ(page.frame.dialog->GetSelection(kInterface), CB_ERR) << "not even the words are there";
    EXPECT_EQ(page.frame.text(kPortField), "5000");
}

TEST_F(ReceiverPage, ShowsTheFlowAsItBeginsAndOverwritesWhatIsTyped) {
    ASSERT_EQ(listenOn(kPort), S_OK);
    user.open(object());
    user.frame.type(kAddress, "half an addr");
    ASSERT_EQ(filter->Run(0), S_OK);
    send(1);
    EXPECT_TRUE(shows(*user.frame.dialog, kDataState, "Data present"));
    EXPECT_EQ(user.frame.text(kAddress), "0.0.0.0");

    // A second page takes the first one's place, and whichever leaves first takes the listener away.
    Page second;
    second.open(object());
    EXPECT_EQ(second.frame.text(kDataState), "Data present");
    user.frame.type(kTimeout, "typed");
    second.frame.type(kTimeout, "typed");
    filter->Stop();
    send(2);
    EXPECT_TRUE(shows(*second.frame.dialog, kTimeout, "5000"));
    EXPECT_EQ(user.frame.text(kTimeout), "typed");
    user.close();
    second.frame.type(kTimeout, "typed");
    filter->Stop();
    send(3);
    EXPECT_EQ(filter->Pause(), S_OK);  // the worker that told, or did not, has ended
    EXPECT_EQ(second.frame.text(kTimeout), "typed");
}

/// A network in which data comes for one turn of three; without a time-out each round flips the data's state twice.
class Flips {
public:
    CNetReceiver::Makers makers() {
        CNetReceiver::Makers made;
        made.listener = [this](const udp::Endpoint& target) {
            return std::make_unique<test::FakeListener>(
                target, [this] { return turns_++ % 3 == 0; }, [] { return 4; });
        };
        return made;
    }
    int count() const { return 2 * turns_.load() / 3; }

private:
    std::atomic<int> turns_{0};
};

/// A receiver that tells as fast as its worker runs.
ComPtr<CNetworkReceiverFilter> flippingFilter(Flips& flips) {
    ComPtr<CNetworkReceiverFilter> filter(new CNetworkReceiverFilter(nullptr, flips.makers()));
    filter->SetTimeout(0);
    EXPECT_EQ(filter->SetSource(5000, u"0.0.0.0", u"0.0.0.0", u""), S_OK);  // "any" can be applied
    EXPECT_EQ(filter->Run(0), S_OK);
    return filter;
}

TEST(ReceiverPageUnderFlow, UsersApplyConnectAndLeaveWhileTheWorkerRefreshes) {
    Flips flips;
    const auto filter = flippingFilter(flips);
    std::atomic<bool> enough{false};
    std::thread others([&] {
        for (int i = 0; !enough; ++i) {
            Page other;
            other.open(filter->GetOwner());
            other.frame.press(kApply);
            if (i % 3 == 1) other.page->SetObjects(0, nullptr);
            if (i % 3 == 2) other.page = new CNetRecvProp(nullptr);  // goes as it is
        }
    });
    Page user;
    user.open(filter->GetOwner());
    const auto end = std::chrono::steady_clock::now() + 3 * test::kDeadline;
    int applied = 0;
    for (; (flips.count() < 1000 || applied < 200) && std::chrono::steady_clock::now() < end; ++applied) {
        user.frame.type(kPortField, std::to_string(5000 + applied % 2));
        user.frame.type(kTimeout, "0");
        EXPECT_EQ(user.frame.press(kApply), 1);
        if (applied % 10 == 0) {
            EXPECT_EQ(user.connect(filter->GetOwner()), S_OK);  // the others took the listener away
        }
    }
    enough = true;
    others.join();
    EXPECT_GE(flips.count(), 1000);
    EXPECT_GE(applied, 200);
}

TEST(ReceiverPageUnderFlow, AFilterThatOnlyItsPageHoldsIsNotDestroyedByItsWorker) {
    using Leave = std::function<void(Page&)>;
    const std::vector<Leave> ways = {
        [](Page& page) { page.close(); },
        [](Page& page) { page.page->SetObjects(0, nullptr); },
        [](Page& page) { page.page = new CNetRecvProp(nullptr); },
        [](Page& page) { page.frame.dialog->SendMessage(WM_DESTROY, 0, 0); },
    };
    const auto alive = CBaseObject::ObjectsActive();
    for (std::size_t i = 0; i < 40; ++i) {
        Flips flips;
        {
            Page page;
            page.open(flippingFilter(flips)->GetOwner());
            ASSERT_TRUE(test::eventually([&] { return flips.count() >= 20; }));
            ways[i % ways.size()](page);
        }
        ASSERT_EQ(CBaseObject::ObjectsActive(), alive) << "after way " << i % ways.size();
    }
}

}  // namespace
