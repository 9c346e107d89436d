// The sender's page, as a user meets it.

#include "pages/net_send_prop.h"

#include <string>

#include "pages/page_fixture.h"
#include "sender/network_send.h"
#include "support/configuration.h"

namespace {

using namespace page_ids;
using test::ComPtr;

struct SenderPage : testing::Test {
    ComPtr<CNetworkSend> filter{[] {
        HRESULT status = S_OK;
        return CNetworkSend::CreateInstance(nullptr, &status);
    }()};
    test::OpenPage<CNetSendProp> user;

    void SetUp() override { mcgate::util::forgetInterfaceList(); }
    void add(const WCHAR* remote, std::uint32_t port, const WCHAR* local) {
        std::int32_t index = -1;
        ASSERT_EQ(filter->AddDestination(remote, port, local, &index), S_OK);
    }
    /// "remote:port@local", a blank after each destination.
    std::string destinations() {
        std::string all;
        std::string one;
        for (std::int32_t i = 0; (one = test::destinationOf(*filter, i)) != "none"; ++i) all += one + " ";
        return all;
    }
    void type(const char* first, const char* firstPort, const char* second, const char* secondPort) {
        user.frame.type(kAddress, first);
        user.frame.type(kPort, firstPort);
        user.frame.type(kSecondAddress, second);
        user.frame.type(kSecondPort, secondPort);
    }
    std::string rows() {
        std::string all;
        for (const auto id : {kAddress, kPort, kInterface, kSecondAddress, kSecondPort, kSecondInterface}) {
            all += user.frame.text(id) + " ";
        }
        return all;
    }
    void reopen() {
        user.page->Deactivate();
        ASSERT_EQ(user.frame.activate(*user.page), S_OK);
    }
};

TEST_F(SenderPage, ShowsTheFirstTwoDestinationsAndTouchesNoOther) {
    add(u"239.1.2.3", 5000, u"0.0.0.0");
    add(u"10.0.0.1", 5001, u"127.0.0.1");
    add(u"10.0.0.2", 5002, u"0.0.0.0");
    user.open(filter->GetOwner());
    EXPECT_EQ(rows(), "239.1.2.3 5000 any 10.0.0.1 5001 undefined ");
    user.frame.type(kPort, "6000x");
    user.frame.type(kSecondInterface, "127.0.0.1");
    EXPECT_EQ(user.frame.press(0x30000 | kApply), 1);
    EXPECT_EQ(destinations(), "239.1.2.3:6000@0.0.0.0 10.0.0.1:5001@127.0.0.1 10.0.0.2:5002@0.0.0.0 ");
    EXPECT_EQ(rows(), "239.1.2.3 6000x any 10.0.0.1 5001 127.0.0.1 ") << "nothing reloads the fields";
    EXPECT_EQ(user.page->IsPageDirty(), S_FALSE);

    user.frame.dialog->SetSelection(kSecondInterface, user.frame.dialog->GetItemCount(kSecondInterface) - 1);
    EXPECT_EQ(user.page->OnApplyChanges(), S_OK);
    EXPECT_EQ(destinations(), "239.1.2.3:6000@0.0.0.0 10.0.0.1:5001@undefined 10.0.0.2:5002@0.0.0.0 ");
}

TEST_F(SenderPage, ARowThatIsNewIsAppended) {
    user.open(filter->GetOwner());
    EXPECT_EQ(rows(), "      ");
    user.frame.dialog->SetSelection(kSecondInterface, user.frame.dialog->GetItemCount(kSecondInterface) - 2);
    type("", "", "10.0.0.1", "5001");
    user.frame.press(kApply);
    EXPECT_EQ(destinations(), "10.0.0.1:5001@0.0.0.0 ");
    type("", "", "", "");
    reopen();
    EXPECT_EQ(rows(), "10.0.0.1 5001 any    ") << "at the first place";
    user.frame.type(kAddress, "");
    user.frame.press(kApply);
    EXPECT_EQ(destinations(), "10.0.0.1:5001@0.0.0.0 ") << "there is no way to remove one";
}

TEST_F(SenderPage, ARefusedRowDoesNotKeepTheOtherBack) {
    add(u"10.0.0.1", 5000, u"0.0.0.0");
    add(u"10.0.0.2", 5000, u"0.0.0.0");
    user.open(filter->GetOwner());
    std::string port = "5000";
    for (const char* refused : {"", "here", "ff15::1", "255.255.255.255"}) {
        port.back() = static_cast<char>(port.back() + 1);
        type(refused, "1", "10.0.0.2", port.c_str());
        user.frame.press(kApply);
        EXPECT_EQ(destinations(), "10.0.0.1:5000@0.0.0.0 10.0.0.2:" + port + "@0.0.0.0 ") << refused;
    }
    type("10.0.0.1", "6000", "10.0.0.2", "");
    user.frame.press(kApply);
    EXPECT_EQ(destinations(), "10.0.0.1:6000@0.0.0.0 10.0.0.2:" + port + "@0.0.0.0 ");
}

TEST_F(SenderPage, OpensWithoutRowsWhenEitherComboIsFull) {
    add(u"10.0.0.1", 5000, u"0.0.0.0");
    for (const auto& room : {std::vector{1, 99}, std::vector{99, 1}}) {
        const test::CrampedResources cramped(kSenderDialog, room);
        test::OpenPage<CNetSendProp> page(cramped.resources());
        page.open(filter->GetOwner());
        EXPECT_EQ(page.frame.text(kAddress), "");
        EXPECT_EQ(page.page->OnActivate(), E_FAIL);
    }
}

TEST_F(SenderPage, AnswersMessagesAndHoldsTheFilterWhileConnected) {
    EXPECT_EQ(user.connect(user.page->GetOwner()), E_NOINTERFACE);
    user.open(filter->GetOwner());
    EXPECT_EQ(user.frame.dialog->SendMessage(WM_INITDIALOG, 0, 0), 1);
    EXPECT_EQ(user.frame.press(kPort), 1);
    EXPECT_EQ(user.frame.dialog->SendMessage(WM_DESTROY, 0, 0), 0);
    EXPECT_EQ(user.frame.press(kApply), 1) << "a page without a dialog does nothing";
    const auto alive = CBaseObject::ObjectsActive();
    filter.reset();
    EXPECT_EQ(CBaseObject::ObjectsActive(), alive);
    user.page->SetObjects(0, nullptr);
    EXPECT_LT(CBaseObject::ObjectsActive(), alive);
    HRESULT status = E_FAIL;
    const ComPtr<CNetSendProp> made{CNetSendProp::CreateInstance(nullptr, &status)};
    EXPECT_EQ(status, S_OK);
}

}  // namespace
