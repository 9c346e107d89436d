#include "media/host/base_property_page.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>

#include "foundation/status.h"

using mcgate::foundation::guarded;

namespace {

// The entry with this number, or null.
template <class Entry>
const Entry* findById(std::span<const Entry> entries, std::int32_t id) {
    const auto found = std::find_if(entries.begin(), entries.end(), [id](const Entry& one) { return one.id == id; });
    return found == entries.end() ? nullptr : &*found;
}

}  // namespace

CBasePropertyPage::CBasePropertyPage(IUnknown* outer, const PageResources& resources, std::int32_t dialogId,
                                     std::int32_t titleId)
    : CUnknown(outer), resources_(resources), dialogId_(dialogId), titleId_(titleId) {}

CBasePropertyPage::~CBasePropertyPage() {
    if (window_) window_->abandon();
}

HRESULT CBasePropertyPage::NonDelegatingQueryInterface(const GUID& id, void** object) {
    if (id == IPropertyPage::iid) return GetInterface(static_cast<IPropertyPage*>(this), object);
    return CUnknown::NonDelegatingQueryInterface(id, object);
}

const DialogTemplate* CBasePropertyPage::layout() const { return findById(resources_.dialogs, dialogId_); }

HRESULT CBasePropertyPage::SetPageSite(IPropertyPageSite* site) {
    if ((site != nullptr) == static_cast<bool>(site_)) return E_UNEXPECTED;
    site_ = site;
    return S_OK;
}

HRESULT CBasePropertyPage::Activate(IDialogParent* parent, const RECT* place, std::int32_t) {
    if (place == nullptr) return E_POINTER;
    if (!objectSet_ || parent == nullptr || window_) return E_UNEXPECTED;
    const HRESULT opened = guarded([&] {
        const DialogTemplate* const found = layout();
        if (found == nullptr) return E_FAIL;
        window_ = new CDialog(*found);
        window_->open(*parent, *this);
        return S_OK;
    });
    if (FAILED(opened)) {
        if (window_) std::exchange(window_, nullptr)->abandon();
        return opened;
    }
    guarded([this] { return OnActivate(); });
    const HRESULT moved = Move(place);
    return FAILED(moved) ? moved : Show(SW_SHOWNORMAL);
}

HRESULT CBasePropertyPage::Deactivate() {
    if (!window_) return E_UNEXPECTED;
    guarded([this] { return OnDeactivate(); });
    std::exchange(window_, nullptr)->destroy();
    return S_OK;
}

HRESULT CBasePropertyPage::GetPageInfo(PROPPAGEINFO* info) {
    if (info == nullptr) return E_POINTER;
    return guarded([&] {
        const DialogTemplate* const dialog = layout();
        const TitleText* const title = findById(resources_.titles, titleId_);
        if (dialog == nullptr || title == nullptr) return E_FAIL;
        const std::u16string wide = mcgate::platform::toWide(title->text);
        const std::size_t bytes = (wide.size() + 1) * sizeof(WCHAR);
        auto* const copy = static_cast<WCHAR*>(CoTaskMemAlloc(bytes));
        if (copy == nullptr) return E_OUTOFMEMORY;
        std::memcpy(copy, wide.c_str(), bytes);
        *info = {sizeof(PROPPAGEINFO), copy, dialog->size, nullptr, nullptr, 0};
        return S_OK;
    });
}

HRESULT CBasePropertyPage::SetObjects(std::uint32_t count, IUnknown** objects) {
    if (count > 1) return E_UNEXPECTED;
    if (count == 0) {
        objectSet_ = false;
        return guarded([this] { return OnDisconnect(); });
    }
    if (objects == nullptr || *objects == nullptr) return E_POINTER;
    const HRESULT status = guarded([&] { return OnConnect(*objects); });
    objectSet_ = SUCCEEDED(status);
    return status;
}

HRESULT CBasePropertyPage::Show(std::uint32_t command) {
    if (!window_) return E_UNEXPECTED;
    if (command != SW_SHOW && command != SW_SHOWNORMAL && command != SW_HIDE) return E_INVALIDARG;
    window_->SetVisible(command != SW_HIDE ? 1 : 0);
    return S_OK;
}

HRESULT CBasePropertyPage::Move(const RECT* place) {
    if (place == nullptr) return E_POINTER;
    if (!window_) return E_UNEXPECTED;
    window_->SetPlace(*place);
    return S_OK;
}

HRESULT CBasePropertyPage::Apply() {
    if (!objectSet_ || !site_) return E_UNEXPECTED;
    if (!dirty_) return S_OK;
    const HRESULT status = guarded([this] { return OnApplyChanges(); });
    if (SUCCEEDED(status)) dirty_ = false;
    return status;
}

HRESULT CBasePropertyPage::Help(const WCHAR*) { return E_NOTIMPL; }

HRESULT CBasePropertyPage::TranslateAccelerator(MSG*) { return E_NOTIMPL; }

HRESULT CBasePropertyPage::OnConnect(IUnknown*) { return S_OK; }

HRESULT CBasePropertyPage::OnDisconnect() { return S_OK; }

HRESULT CBasePropertyPage::OnActivate() { return S_OK; }

HRESULT CBasePropertyPage::OnDeactivate() { return S_OK; }

HRESULT CBasePropertyPage::OnApplyChanges() { return S_OK; }

std::intptr_t CBasePropertyPage::OnReceiveMessage(IDialog*, std::uint32_t, std::uintptr_t, std::intptr_t) { return 0; }

void CBasePropertyPage::setDirty() {
    dirty_ = true;
    if (site_) site_->OnStatusChange(PROPPAGESTATUS_DIRTY);
}

std::intptr_t CBasePropertyPage::handleMessage(CDialog& dialog, std::uint32_t message, std::uintptr_t first,
                                               std::intptr_t second) noexcept {
    try {
        return OnReceiveMessage(&dialog, message, first, second);
    } catch (...) {
        return 0;  // for want of memory; a message has no status to tell it by
    }
}
