// The frame's side of property pages, and the dialogs that they open.

#include "media/host/base_property_page.h"

#include <gtest/gtest.h>

#include <array>
#include <new>
#include <thread>

#include "support/page_frame.h"

namespace {

using mcgate::platform::ControlKind;
using test::ComPtr;

constexpr std::int32_t kEdit = 1;
constexpr std::int32_t kCombo = 2;
constexpr ControlTemplate kControls[] = {
    {{kEdit, ControlKind::Edit, {0, 0, 50, 10}}, "first"},
    {{kCombo, ControlKind::Combo, {0, 20, 50, 30}}, "", 2},
};
constexpr DialogTemplate kDialogs[] = {{7, {60, 40}, kControls}};
constexpr TitleText kTitles[] = {{3, "Título"}};

/// Writes down what the base asks of it.
class NotedPage final : public CBasePropertyPage {
public:
    explicit NotedPage(std::int32_t dialogId = 7) : CBasePropertyPage(nullptr, {kDialogs, kTitles}, dialogId, 3) {}

    HRESULT OnConnect(IUnknown*) override { return note("connect", answer); }
    HRESULT OnDisconnect() override { return note("disconnect", S_OK); }
    HRESULT OnActivate() override { return note("activate", E_FAIL); }
    HRESULT OnDeactivate() override { return note("deactivate", E_FAIL); }
    HRESULT OnApplyChanges() override {
        note("apply", S_OK);
        if (answer == E_OUTOFMEMORY) throw std::bad_alloc();
        return answer;
    }
    std::intptr_t OnReceiveMessage(IDialog* window, std::uint32_t message, std::uintptr_t first,
                                   std::intptr_t second) override {
        note(std::to_string(message).c_str(), S_OK);
        return CBasePropertyPage::OnReceiveMessage(window, message, first, second);
    }
    using CBasePropertyPage::setDirty;

    /// The notes since the last call.
    std::string take() { return std::exchange(notes_, {}); }

    HRESULT answer = S_OK;

private:
    HRESULT note(const char* what, HRESULT status) {
        notes_ += std::string(what) + " ";
        return status;
    }
    std::string notes_;
};

class NotedSite final : public IPropertyPageSite {
public:
    HRESULT QueryInterface(const GUID&, void**) override { return E_NOINTERFACE; }
    std::uint32_t AddRef() override { return static_cast<std::uint32_t>(++references); }
    std::uint32_t Release() override { return static_cast<std::uint32_t>(--references); }
    HRESULT OnStatusChange(std::uint32_t flags) override {
        told = flags;
        return S_OK;
    }
    HRESULT GetLocaleID(std::uint32_t*) override { return E_NOTIMPL; }
    HRESULT GetPageContainer(IUnknown**) override { return E_NOTIMPL; }
    HRESULT TranslateAccelerator(MSG*) override { return S_FALSE; }

    int references = 0;
    std::uint32_t told = 0;
};

struct PropertyPage : testing::Test {
    test::PageFrame frame;
    ComPtr<NotedPage> page{new NotedPage};
    ComPtr<IUnknown> object{page->GetOwner()};  // any will do
    IUnknown* objects[1] = {object.get()};

    void TearDown() override { object.reset(); }
    void open() {
        ASSERT_EQ(page->SetObjects(1, objects), S_OK);
        ASSERT_EQ(frame.activate(*page), S_OK);
    }
};

TEST_F(PropertyPage, OpensOnAnObjectAndTellsItsDerivedClassInOrder) {
    const RECT place{1, 2, 3, 4};
    EXPECT_EQ(frame.activate(*page), E_UNEXPECTED) << "without an object";
    EXPECT_EQ(page->SetObjects(1, nullptr), E_POINTER);
    EXPECT_EQ(page->SetObjects(2, objects), E_UNEXPECTED);
    page->answer = E_NOINTERFACE;
    EXPECT_EQ(page->SetObjects(1, objects), E_NOINTERFACE);
    EXPECT_EQ(frame.activate(*page), E_UNEXPECTED) << "the page did not connect";
    page->answer = S_OK;
    page->take();

    ASSERT_EQ(page->SetObjects(1, objects), S_OK);
    EXPECT_EQ(page->Activate(nullptr, &place, 0), E_UNEXPECTED);
    EXPECT_EQ(page->Activate(&frame, nullptr, 0), E_POINTER);
    EXPECT_EQ(page->Move(&place), E_UNEXPECTED);
    EXPECT_EQ(page->Show(SW_SHOW), E_UNEXPECTED);
    EXPECT_EQ(page->Deactivate(), E_UNEXPECTED);
    EXPECT_EQ(page->Activate(&frame, &place, 0), S_OK) << "whatever its own start gives";
    EXPECT_EQ(page->take(), "connect 272 activate ");
    EXPECT_EQ(frame.activate(*page), E_UNEXPECTED) << "one dialog at a time";

    EXPECT_EQ(frame.dialog->GetPlace(), place);
    EXPECT_EQ(page->Move(nullptr), E_POINTER);
    EXPECT_EQ(page->Show(2), E_INVALIDARG);
    EXPECT_EQ(page->Show(SW_SHOWNORMAL), S_OK);
    EXPECT_TRUE(frame.dialog->IsVisible());
    EXPECT_EQ(page->Show(SW_HIDE), S_OK);
    EXPECT_FALSE(frame.dialog->IsVisible());

    EXPECT_TRUE(frame.dialog->IsOpen());
    EXPECT_EQ(page->Deactivate(), S_OK);
    EXPECT_FALSE(frame.dialog->IsOpen());
    EXPECT_EQ(page->SetObjects(0, nullptr), S_OK);
    EXPECT_EQ(page->take(), "deactivate 2 disconnect ");
    EXPECT_EQ(frame.destroyed, 1);
    EXPECT_EQ(frame.dialog->SendMessage(WM_COMMAND, 1, 0), 0) << "the page has let go of it";
    EXPECT_EQ(page->take(), "");
}

TEST_F(PropertyPage, AppliesOnlyWhatIsDirty) {
    NotedSite site;
    open();
    EXPECT_EQ(page->Apply(), E_UNEXPECTED) << "without a site";
    EXPECT_EQ(page->SetPageSite(nullptr), E_UNEXPECTED);
    EXPECT_EQ(page->SetPageSite(&site), S_OK);
    EXPECT_EQ(page->SetPageSite(&site), E_UNEXPECTED);
    page->take();
    EXPECT_EQ(page->Apply(), S_OK);
    EXPECT_EQ(page->IsPageDirty(), S_FALSE);
    EXPECT_EQ(page->take(), "");

    page->setDirty();
    EXPECT_EQ(site.told, PROPPAGESTATUS_DIRTY);
    for (const HRESULT answer : {E_FAIL, E_OUTOFMEMORY, S_OK}) {
        EXPECT_EQ(page->IsPageDirty(), S_OK);
        page->answer = answer;
        EXPECT_EQ(page->Apply(), answer);
        EXPECT_EQ(page->take(), "apply ");
    }
    EXPECT_EQ(page->IsPageDirty(), S_FALSE);
    EXPECT_EQ(page->SetPageSite(nullptr), S_OK);
    EXPECT_EQ(site.references, 0);
}

TEST_F(PropertyPage, TellsItsTitleAndSize) {
    PROPPAGEINFO info;
    ASSERT_EQ(page->GetPageInfo(&info), S_OK);
    EXPECT_EQ(info.cb, sizeof info);
    EXPECT_EQ(std::u16string(info.pszTitle), u"Título");
    CoTaskMemFree(info.pszTitle);
    EXPECT_EQ(info.size, (SIZE{60, 40}));
    EXPECT_EQ(page->GetPageInfo(nullptr), E_POINTER);

    const ComPtr<NotedPage> without{new NotedPage(8)};
    EXPECT_EQ(without->GetPageInfo(&info), E_FAIL) << "no such dialog";
}

TEST_F(PropertyPage, AViewMayKeepTheDialogBeyondThePage) {
    open();
    const auto alive = CBaseObject::ObjectsActive();
    object.reset();
    page.reset();
    EXPECT_EQ(frame.destroyed, 1);
    EXPECT_EQ(CBaseObject::ObjectsActive(), alive - 1) << "the dialog itself still counts";
    EXPECT_EQ(frame.text(kEdit), "first");
    EXPECT_EQ(frame.press(1), 0);
}

TEST_F(PropertyPage, ADialogKeepsTextsItemsAndASelection) {
    open();
    auto& dialog = *frame.dialog;
    mcgate::platform::ControlInfo info;
    EXPECT_EQ(dialog.GetControlCount(), 2);
    ASSERT_EQ(dialog.GetControl(1, &info), S_OK);
    EXPECT_EQ(info.id, kCombo);
    EXPECT_EQ(dialog.GetControl(2, &info), E_INVALIDARG);

    std::array<char, 4> little{};
    EXPECT_EQ(dialog.GetText(kEdit, little.data(), 4), 3);
    EXPECT_STREQ(little.data(), "fir");
    EXPECT_EQ(dialog.ClearText(kEdit), S_OK);
    EXPECT_EQ(dialog.GetTextLength(kEdit), 0);

    EXPECT_EQ(dialog.AddItem(kCombo, "one"), 0);
    EXPECT_EQ(dialog.AddItem(kCombo, "two"), 1);
    EXPECT_EQ(dialog.AddItem(kCombo, "three"), CB_ERRSPACE);
    EXPECT_EQ(dialog.SetItemValue(kCombo, 1, 0xFFFFFFFE), S_OK);
    std::uint32_t value = 0;
    EXPECT_EQ(dialog.GetItemValue(kCombo, 1, &value), S_OK);
    EXPECT_EQ(value, 0xFFFFFFFE);

    EXPECT_EQ(dialog.GetSelection(kCombo), CB_ERR);
    EXPECT_EQ(dialog.SetSelection(kCombo, 1), S_OK);
    EXPECT_EQ(frame.text(kCombo), "two");
    frame.type(kCombo, "one");
    EXPECT_EQ(dialog.GetSelection(kCombo), CB_ERR) << "typed text selects nothing";
    EXPECT_EQ(dialog.SetSelection(kCombo, 2), E_INVALIDARG);

    // Where there is no such control or item.
    EXPECT_EQ(dialog.SetText(9, "x"), E_INVALIDARG);
    EXPECT_EQ(dialog.AddItem(kEdit, "x"), CB_ERR);
    EXPECT_EQ(dialog.GetItemValue(kCombo, -1, &value), E_INVALIDARG);
    EXPECT_EQ(dialog.GetText(9, little.data(), 4), 0);
    EXPECT_STREQ(little.data(), "");
}

TEST_F(PropertyPage, AWatcherWaitsForWhatReallyChanges) {
    open();
    auto& dialog = *frame.dialog;
    const auto seen = dialog.GetChangeCount();
    frame.type(kEdit, "first");
    EXPECT_EQ(dialog.WaitForChange(seen, 0), S_FALSE) << "that stood there already";
    std::thread user([this] { frame.type(kEdit, "second"); });
    EXPECT_EQ(dialog.WaitForChange(seen, 20'000), S_OK);
    user.join();
    EXPECT_EQ(frame.text(kEdit), "second");
}

}  // namespace
