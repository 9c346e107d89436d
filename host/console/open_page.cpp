#include "console/open_page.h"

#include <stdexcept>

#include "cli/module_loader.h"
#include "media/host/base_object.h"
#include "platform/text.h"

namespace mcgate::host {

using platform::ComPtr;
using platform::IDialog;
using platform::IDialogParent;

namespace {

// The window that a page opens its dialog in; it keeps the dialog as long as the page does.
class Parent final : public CUnknown, public IDialogParent {
public:
    Parent() : CUnknown(nullptr) {}
    MCGATE_DECLARE_IUNKNOWN
    HRESULT NonDelegatingQueryInterface(const GUID& id, void** object) override {
        if (id == IDialogParent::iid) return GetInterface(static_cast<IDialogParent*>(this), object);
        return CUnknown::NonDelegatingQueryInterface(id, object);
    }
    void OnChildCreated(IDialog* child) override {
        face.emplace(*child);
        dialog = child;
    }
    void OnChildDestroyed(IDialog*) override { dialog.reset(); }

    ComPtr<IDialog> dialog;
    std::optional<DialogFace> face;
};

std::string taken(WCHAR* text) {
    std::string narrow = platform::toNarrow(text);
    CoTaskMemFree(text);
    return narrow;
}

}  // namespace

std::optional<OpenPage> OpenPage::open(const GUID& classId, IUnknown& filter) try {
    OpenPage result;
    result.page_ = create<IPropertyPage>(classId);
    IUnknown* object = &filter;
    if (FAILED(result.page_->SetObjects(1, &object)) || !result.activate()) return std::nullopt;
    return result;
} catch (const std::runtime_error&) {
    return std::nullopt;  // the class can't be made
}

OpenPage::~OpenPage() {
    if (!page_) return;  // moved from
    page_->Deactivate();
    page_->SetObjects(0, nullptr);
}

bool OpenPage::reopen() {
    page_->Deactivate();
    return activate();
}

bool OpenPage::activate() {
    PROPPAGEINFO info;
    if (FAILED(page_->GetPageInfo(&info))) return false;
    CoTaskMemFree(info.pszHelpFile);
    const std::string title = taken(info.pszTitle);
    const std::string help = taken(info.pszDocString);
    const ComPtr<Parent> parent(new Parent);
    const RECT place{0, 0, info.size.cx, info.size.cy};
    if (FAILED(page_->Activate(parent.get(), &place, 0)) || !parent->dialog) return false;
    const std::uint64_t earlier = view_ ? view_->revision() + 1 : 0;
    view_ = std::make_shared<const PageView>(PageView{title, help, info.size, parent->dialog, *parent->face, earlier});
    return true;
}

}  // namespace mcgate::host
