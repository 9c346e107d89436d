#pragma once
// The dialog of a property page, made of a template that the module carries.

#include <condition_variable>
#include <limits>
#include <mutex>
#include <span>
#include <string>
#include <vector>

#include "media/host/base_object.h"
#include "platform/dialog.h"

/// A control as a module describes it.
struct ControlTemplate {
    mcgate::platform::ControlInfo control;
    const char* text = "";  ///< at first
    std::int32_t mostItems = std::numeric_limits<std::int32_t>::max();
};

struct DialogTemplate {
    std::int32_t id = 0;
    SIZE size;
    std::span<const ControlTemplate> controls;
};

/// An open dialog: its controls, and the road of its messages to the page. It counts as a live object, so that the
/// module stays loaded while a view still looks.
/// Threads: as IDialog says. lock_ guards all data, is a leaf and is never held while waiting or while a message is
/// handled; procedure_ and parent_ belong to the dialog's own thread.
class CDialog final : public CUnknown, public mcgate::platform::IDialog {
public:
    using ControlInfo = mcgate::platform::ControlInfo;
    using ControlKind = mcgate::platform::ControlKind;
    using IDialogParent = mcgate::platform::IDialogParent;
    /// Where messages go.
    class Procedure {
    public:
        virtual std::intptr_t handleMessage(CDialog& dialog, std::uint32_t message, std::uintptr_t first,
                                            std::intptr_t second) noexcept = 0;

    protected:
        ~Procedure() = default;
    };

    explicit CDialog(const DialogTemplate& layout);

    /// Tells the parent, then sends WM_INITDIALOG. Once.
    void open(IDialogParent& parent, Procedure& procedure);
    /// Sends WM_DESTROY, then lets go of the procedure and tells the parent. Nothing when it is not open.
    void destroy() noexcept;
    /// destroy() without the message, for a page that is itself at its end.
    void abandon() noexcept;

    MCGATE_DECLARE_IUNKNOWN
    HRESULT NonDelegatingQueryInterface(const GUID& id, void** object) override;

    std::int32_t GetControlCount() override;
    HRESULT GetControl(std::int32_t index, ControlInfo* control) override;
    HRESULT SetText(std::int32_t id, const char* text) override;
    std::int32_t GetText(std::int32_t id, char* buffer, std::int32_t capacity) override;
    std::int32_t GetTextLength(std::int32_t id) override;
    HRESULT ClearText(std::int32_t id) override;
    std::int32_t AddItem(std::int32_t id, const char* text) override;
    std::int32_t GetItemCount(std::int32_t id) override;
    std::int32_t GetItemText(std::int32_t id, std::int32_t index, char* buffer, std::int32_t capacity) override;
    std::int32_t GetItemTextLength(std::int32_t id, std::int32_t index) override;
    HRESULT SetItemValue(std::int32_t id, std::int32_t index, std::uint32_t value) override;
    HRESULT GetItemValue(std::int32_t id, std::int32_t index, std::uint32_t* value) override;
    std::int32_t GetSelection(std::int32_t id) override;
    HRESULT SetSelection(std::int32_t id, std::int32_t index) override;
    RECT GetPlace() override;
    void SetPlace(const RECT& place) override;
    std::int32_t IsVisible() override;
    void SetVisible(std::int32_t visible) override;
    std::int32_t IsOpen() override;
    std::intptr_t SendMessage(std::uint32_t message, std::uintptr_t first, std::intptr_t second) override;
    std::uint64_t GetChangeCount() override;
    HRESULT WaitForChange(std::uint64_t seen, std::uint32_t timeoutMs) override;

private:
    struct Item {
        std::string text;
        std::uint32_t value = 0;
    };
    struct Control {
        ControlInfo info;
        std::string text;
        std::int32_t mostItems;
        std::vector<Item> items;
        std::int32_t selection = CB_ERR;
    };

    Control* find(std::int32_t id);
    Control* findCombo(std::int32_t id);
    Item* findItem(std::int32_t id, std::int32_t index);
    template <class Value>
    void change(Value& value, const Value& fresh);

    std::mutex lock_;
    std::condition_variable changed_;
    const SIZE size_;
    std::vector<Control> controls_;  ///< the set is fixed, their contents change
    RECT place_;
    std::int32_t visible_ = 0;
    std::int32_t open_ = 0;
    std::uint64_t changes_ = 0;

    mcgate::platform::ComPtr<IDialogParent> parent_;
    Procedure* procedure_ = nullptr;
};
