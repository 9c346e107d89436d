#pragma once

#include <span>

#include "media/host/base_object.h"
#include "media/host/dialog.h"
#include "media/host/property_page.h"

/// A title of a property page, found by its number.
struct TitleText {
    std::int32_t id = 0;
    const char* text = "";
};

/// The resources that a module's pages are made of. What they refer to outlives the pages.
struct PageResources {
    std::span<const DialogTemplate> dialogs;
    std::span<const TitleText> titles;
};

/// The frame's side of a property page: site, object, dialog, and whether there is something to apply. A derived class
/// says what connecting, filling and applying mean. What its operations throw becomes a status here.
/// Threads: one at a time, together with the messages of the dialog; no lock. The dialog of a page that goes without
/// Deactivate is destroyed without a message, since the derived part is gone by then.
class CBasePropertyPage : public CUnknown, public IPropertyPage, private CDialog::Procedure {
public:
    using IDialog = mcgate::platform::IDialog;
    using IDialogParent = mcgate::platform::IDialogParent;

    /// The numbers of the page's dialog and title among the resources.
    CBasePropertyPage(IUnknown* outer, const PageResources& resources, std::int32_t dialogId, std::int32_t titleId);
    ~CBasePropertyPage() override;

    MCGATE_DECLARE_IUNKNOWN
    HRESULT NonDelegatingQueryInterface(const GUID& id, void** object) override;

    HRESULT SetPageSite(IPropertyPageSite* site) override;
    HRESULT Activate(IDialogParent* parent, const RECT* place, std::int32_t modal) override;
    HRESULT Deactivate() override;
    HRESULT GetPageInfo(PROPPAGEINFO* info) override;
    HRESULT SetObjects(std::uint32_t count, IUnknown** objects) override;
    HRESULT Show(std::uint32_t command) override;
    HRESULT Move(const RECT* place) override;
    HRESULT IsPageDirty() override { return dirty_ ? S_OK : S_FALSE; }
    HRESULT Apply() override;
    HRESULT Help(const WCHAR* directory) override;
    HRESULT TranslateAccelerator(MSG* message) override;

    /// A failure leaves the page without an object.
    virtual HRESULT OnConnect(IUnknown* object);
    virtual HRESULT OnDisconnect();
    /// The dialog is open and has had WM_INITDIALOG. The status is ignored: a page opens with what it has.
    virtual HRESULT OnActivate();
    /// The dialog is still open.
    virtual HRESULT OnDeactivate();
    /// Called by Apply when the page is dirty; success makes it clean.
    virtual HRESULT OnApplyChanges();
    /// A message of the dialog; what a derived class does not handle it hands on to here, which answers 0.
    virtual std::intptr_t OnReceiveMessage(IDialog* window, std::uint32_t message, std::uintptr_t first,
                                           std::intptr_t second);

protected:
    /// There is something to apply; the site hears of it.
    void setDirty();

private:
    std::intptr_t handleMessage(CDialog& dialog, std::uint32_t message, std::uintptr_t first,
                                std::intptr_t second) noexcept override;
    const DialogTemplate* layout() const;

    const PageResources resources_;
    const std::int32_t dialogId_;
    const std::int32_t titleId_;
    mcgate::platform::ComPtr<IPropertyPageSite> site_;
    mcgate::platform::ComPtr<CDialog> window_;
    bool objectSet_ = false;
    bool dirty_ = false;
};
