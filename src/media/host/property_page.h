#pragma once
// Property pages as a host sees them: an object that shows and changes another object's settings in a dialog.

#include <cstdint>

#include "platform/dialog.h"
#include "platform/text.h"
#include "platform/unknown.h"

struct MSG;

/// What IPropertyPageSite::OnStatusChange is told.
inline constexpr std::uint32_t PROPPAGESTATUS_DIRTY = 1;
inline constexpr std::uint32_t PROPPAGESTATUS_VALIDATE = 2;

/// How IPropertyPage::Show shows.
inline constexpr std::uint32_t SW_HIDE = 0;
inline constexpr std::uint32_t SW_SHOWNORMAL = 1;
inline constexpr std::uint32_t SW_SHOW = 5;

struct PROPPAGEINFO {
    std::uint32_t cb = 0;       ///< bytes of this record
    WCHAR* pszTitle = nullptr;  ///< freed with CoTaskMemFree
    SIZE size;
    WCHAR* pszDocString = nullptr;
    WCHAR* pszHelpFile = nullptr;
    std::uint32_t dwHelpContext = 0;
};

/// What the frame around a page offers to it.
struct IPropertyPageSite : IUnknown {
    static constexpr GUID iid = mcgate::platform::guid("{B196B28C-BAB4-101A-B69C-00AA00341D07}");
    virtual HRESULT OnStatusChange(std::uint32_t flags) = 0;
    virtual HRESULT GetLocaleID(std::uint32_t* locale) = 0;
    virtual HRESULT GetPageContainer(IUnknown** container) = 0;
    virtual HRESULT TranslateAccelerator(MSG* message) = 0;

protected:
    ~IPropertyPageSite() = default;
};

/// A page. Its life: SetPageSite, SetObjects, Activate, messages through the dialog, Deactivate, SetObjects with none,
/// SetPageSite with null. Threads: one at a time, together with the messages of its dialog.
struct IPropertyPage : IUnknown {
    static constexpr GUID iid = mcgate::platform::guid("{B196B28D-BAB4-101A-B69C-00AA00341D07}");

    /// The frame, or null at the end. E_UNEXPECTED for a second one, or for null without one.
    virtual HRESULT SetPageSite(IPropertyPageSite* site) = 0;
    /// Opens the dialog in `parent`. E_POINTER without a place, E_UNEXPECTED without a parent, without an object or
    /// while the dialog is open.
    virtual HRESULT Activate(mcgate::platform::IDialogParent* parent, const RECT* place, std::int32_t modal) = 0;
    /// Destroys the dialog. E_UNEXPECTED when it is not open, as Show and Move.
    virtual HRESULT Deactivate() = 0;
    virtual HRESULT GetPageInfo(PROPPAGEINFO* info) = 0;
    /// One object connects the page to it, none takes the connection away; more give E_UNEXPECTED. The page's own
    /// failure to connect leaves it without an object.
    virtual HRESULT SetObjects(std::uint32_t count, IUnknown** objects) = 0;
    /// SW_HIDE, SW_SHOW or SW_SHOWNORMAL; E_INVALIDARG for others.
    virtual HRESULT Show(std::uint32_t command) = 0;
    virtual HRESULT Move(const RECT* place) = 0;
    /// S_OK when there are changes to apply, else S_FALSE.
    virtual HRESULT IsPageDirty() = 0;
    /// Applies the changes, if there are any. E_UNEXPECTED without an object or a site.
    virtual HRESULT Apply() = 0;
    virtual HRESULT Help(const WCHAR* directory) = 0;
    virtual HRESULT TranslateAccelerator(MSG* message) = 0;

protected:
    ~IPropertyPage() = default;
};
