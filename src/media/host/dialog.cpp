#include "media/host/dialog.h"

#include <algorithm>
#include <chrono>
#include <string_view>
#include <utility>

#include "foundation/status.h"

using mcgate::foundation::statusOfCurrentException;

namespace {

std::int32_t length(std::string_view text) { return static_cast<std::int32_t>(text.size()); }

std::int32_t copyText(std::string_view text, char* buffer, std::int32_t capacity) {
    if (buffer == nullptr || capacity < 1) return 0;
    const std::int32_t count = std::min(length(text), capacity - 1);
    text.copy(buffer, static_cast<std::size_t>(count));
    buffer[count] = '\0';
    return count;
}

}  // namespace

CDialog::CDialog(const DialogTemplate& layout) : CUnknown(nullptr), place_{0, 0, layout.size.cx, layout.size.cy} {
    controls_.reserve(layout.controls.size());
    for (const ControlTemplate& one : layout.controls) {
        controls_.push_back({one.control, one.text, one.mostItems, {}});
    }
}

void CDialog::open(IDialogParent& parent, Procedure& procedure) {
    parent_ = &parent;
    procedure_ = &procedure;
    {
        const std::lock_guard hold(lock_);
        change(open_, 1);
    }
    parent_->OnChildCreated(this);
    SendMessage(WM_INITDIALOG, 0, 0);
}

void CDialog::destroy() noexcept {
    SendMessage(WM_DESTROY, 0, 0);
    abandon();
}

void CDialog::abandon() noexcept {
    procedure_ = nullptr;
    const auto parent = std::exchange(parent_, nullptr);
    if (!parent) return;
    {
        const std::lock_guard hold(lock_);
        change(open_, 0);
    }
    parent->OnChildDestroyed(this);
}

HRESULT CDialog::NonDelegatingQueryInterface(const GUID& id, void** object) {
    if (id == IDialog::iid) return GetInterface(static_cast<IDialog*>(this), object);
    return CUnknown::NonDelegatingQueryInterface(id, object);
}

CDialog::Control* CDialog::find(std::int32_t id) {
    const auto found =
        std::find_if(controls_.begin(), controls_.end(), [id](const Control& one) { return one.info.id == id; });
    return found == controls_.end() ? nullptr : &*found;
}

CDialog::Control* CDialog::findCombo(std::int32_t id) {
    Control* const control = find(id);
    return control != nullptr && control->info.kind == ControlKind::Combo ? control : nullptr;
}

CDialog::Item* CDialog::findItem(std::int32_t id, std::int32_t index) {
    Control* const combo = findCombo(id);
    if (combo == nullptr || index < 0 || static_cast<std::size_t>(index) >= combo->items.size()) return nullptr;
    return &combo->items[static_cast<std::size_t>(index)];
}

// Under lock_. Watchers are woken without being waited for.
template <class Value>
void CDialog::change(Value& value, const Value& fresh) {
    if (value == fresh) return;
    value = fresh;
    ++changes_;
    changed_.notify_all();
}

std::int32_t CDialog::GetControlCount() { return static_cast<std::int32_t>(controls_.size()); }

HRESULT CDialog::GetControl(std::int32_t index, ControlInfo* control) {
    if (control == nullptr) return E_POINTER;
    if (index < 0 || index >= GetControlCount()) return E_INVALIDARG;
    *control = controls_[static_cast<std::size_t>(index)].info;
    return S_OK;
}

HRESULT CDialog::SetText(std::int32_t id, const char* text) try {
    if (text == nullptr) return E_POINTER;
    const std::lock_guard hold(lock_);
    Control* const control = find(id);
    if (control == nullptr) return E_INVALIDARG;
    change(control->text, std::string(text));
    change(control->selection, CB_ERR);
    return S_OK;
} catch (...) {
    return statusOfCurrentException();
}

std::int32_t CDialog::GetText(std::int32_t id, char* buffer, std::int32_t capacity) {
    const std::lock_guard hold(lock_);
    const Control* const control = find(id);
    return copyText(control != nullptr ? std::string_view(control->text) : std::string_view(), buffer, capacity);
}

std::int32_t CDialog::GetTextLength(std::int32_t id) {
    const std::lock_guard hold(lock_);
    const Control* const control = find(id);
    return control != nullptr ? length(control->text) : 0;
}

HRESULT CDialog::ClearText(std::int32_t id) { return SetText(id, ""); }

std::int32_t CDialog::AddItem(std::int32_t id, const char* text) try {
    const std::lock_guard hold(lock_);
    Control* const combo = findCombo(id);
    if (combo == nullptr || text == nullptr) return CB_ERR;
    const auto index = static_cast<std::int32_t>(combo->items.size());
    if (index >= combo->mostItems) return CB_ERRSPACE;
    combo->items.push_back({text});
    ++changes_;
    changed_.notify_all();
    return index;
} catch (...) {
    return CB_ERRSPACE;  // for want of memory
}

std::int32_t CDialog::GetItemCount(std::int32_t id) {
    const std::lock_guard hold(lock_);
    const Control* const combo = findCombo(id);
    return combo != nullptr ? static_cast<std::int32_t>(combo->items.size()) : CB_ERR;
}

std::int32_t CDialog::GetItemText(std::int32_t id, std::int32_t index, char* buffer, std::int32_t capacity) {
    const std::lock_guard hold(lock_);
    const Item* const item = findItem(id, index);
    return copyText(item != nullptr ? std::string_view(item->text) : std::string_view(), buffer, capacity);
}

std::int32_t CDialog::GetItemTextLength(std::int32_t id, std::int32_t index) {
    const std::lock_guard hold(lock_);
    const Item* const item = findItem(id, index);
    return item != nullptr ? length(item->text) : 0;
}

HRESULT CDialog::SetItemValue(std::int32_t id, std::int32_t index, std::uint32_t value) {
    const std::lock_guard hold(lock_);
    Item* const item = findItem(id, index);
    if (item == nullptr) return E_INVALIDARG;
    change(item->value, value);
    return S_OK;
}

HRESULT CDialog::GetItemValue(std::int32_t id, std::int32_t index, std::uint32_t* value) {
    if (value == nullptr) return E_POINTER;
    const std::lock_guard hold(lock_);
    const Item* const item = findItem(id, index);
    if (item == nullptr) return E_INVALIDARG;
    *value = item->value;
    return S_OK;
}

std::int32_t CDialog::GetSelection(std::int32_t id) {
    const std::lock_guard hold(lock_);
    const Control* const combo = findCombo(id);
    return combo != nullptr ? combo->selection : CB_ERR;
}

HRESULT CDialog::SetSelection(std::int32_t id, std::int32_t index) try {
    const std::lock_guard hold(lock_);
    Control* const combo = findCombo(id);
    const Item* const item = findItem(id, index);
    if (combo == nullptr || (item == nullptr && index != CB_ERR)) return E_INVALIDARG;
    change(combo->text, item != nullptr ? item->text : std::string());
    change(combo->selection, index);
    return S_OK;
} catch (...) {
    return statusOfCurrentException();
}

RECT CDialog::GetPlace() {
    const std::lock_guard hold(lock_);
    return place_;
}

void CDialog::SetPlace(const RECT& place) {
    const std::lock_guard hold(lock_);
    change(place_, place);
}

std::int32_t CDialog::IsVisible() {
    const std::lock_guard hold(lock_);
    return visible_;
}

void CDialog::SetVisible(std::int32_t visible) {
    const std::lock_guard hold(lock_);
    change(visible_, visible != 0 ? 1 : 0);
}

std::int32_t CDialog::IsOpen() {
    const std::lock_guard hold(lock_);
    return open_;
}

std::intptr_t CDialog::SendMessage(std::uint32_t message, std::uintptr_t first, std::intptr_t second) {
    return procedure_ != nullptr ? procedure_->handleMessage(*this, message, first, second) : 0;
}

std::uint64_t CDialog::GetChangeCount() {
    const std::lock_guard hold(lock_);
    return changes_;
}

HRESULT CDialog::WaitForChange(std::uint64_t seen, std::uint32_t timeoutMs) {
    std::unique_lock hold(lock_);
    const auto moved = [this, seen] { return changes_ != seen; };
    return changed_.wait_for(hold, std::chrono::milliseconds(timeoutMs), moved) ? S_OK : S_FALSE;
}
