#pragma once

#include <string>

#include "media/host/property_page.h"

namespace test {

using mcgate::platform::ComPtr;
using mcgate::platform::IDialog;
using mcgate::platform::IDialogParent;

/// The whole text of a control.
inline std::string textOf(IDialog& dialog, std::int32_t id) {
    std::string text(static_cast<std::size_t>(dialog.GetTextLength(id)) + 1, '\0');
    text.resize(static_cast<std::size_t>(dialog.GetText(id, text.data(), static_cast<std::int32_t>(text.size()))));
    return text;
}

/// What a host builds around a page, and the user before it. Lives on the stack and outlives the page's dialog.
class PageFrame final : public IDialogParent {
public:
    HRESULT QueryInterface(const GUID& id, void** object) override {
        *object = id == IDialogParent::iid || id == IUnknown::iid ? this : nullptr;
        return *object != nullptr ? S_OK : E_NOINTERFACE;
    }
    std::uint32_t AddRef() override { return 1; }
    std::uint32_t Release() override { return 1; }
    void OnChildCreated(IDialog* child) override { dialog = child; }
    void OnChildDestroyed(IDialog*) override { ++destroyed; }

    HRESULT activate(IPropertyPage& page) {
        const RECT place{0, 0, 300, 200};
        return page.Activate(this, &place, 0);
    }
    std::string text(std::int32_t id) { return textOf(*dialog, id); }
    void type(std::int32_t id, const std::string& text) { dialog->SetText(id, text.c_str()); }
    std::intptr_t press(std::uintptr_t id) { return dialog->SendMessage(WM_COMMAND, id, 0); }
    /// The items of a combo, a blank after each.
    std::string items(std::int32_t id) {
        std::string all;
        for (std::int32_t i = 0; i < dialog->GetItemCount(id); ++i) {
            char item[64];
            dialog->GetItemText(id, i, item, sizeof item);
            all += std::string(item) + " ";
        }
        return all;
    }

    ComPtr<IDialog> dialog;  ///< the last child, kept beyond its destruction
    int destroyed = 0;
};

}  // namespace test
