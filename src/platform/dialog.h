#pragma once
// Stand-ins for windows: a dialog is a set of controls found by their numbers, with texts, items and a selection, and
// it takes messages. Nothing is drawn: a view (a console, a test) looks at the controls and acts as the user.

#include <cstdint>

#include "platform/unknown.h"

/// Messages that a dialog hands to its page. The first parameter of WM_COMMAND has the control's number in its low 16
/// bits.
inline constexpr std::uint32_t WM_DESTROY = 2;
inline constexpr std::uint32_t WM_INITDIALOG = 272;
inline constexpr std::uint32_t WM_COMMAND = 273;

/// Answers of combo boxes in place of an index.
inline constexpr std::int32_t CB_ERR = -1;       ///< nothing is selected, or there is no such control or item
inline constexpr std::int32_t CB_ERRSPACE = -2;  ///< the box is full

struct SIZE {
    std::int32_t cx = 0;
    std::int32_t cy = 0;

    friend bool operator==(const SIZE&, const SIZE&) = default;
};

struct RECT {
    std::int32_t left = 0;
    std::int32_t top = 0;
    std::int32_t right = 0;
    std::int32_t bottom = 0;

    friend bool operator==(const RECT&, const RECT&) = default;
};

namespace mcgate::platform {

enum class ControlKind : std::int32_t {
    Label,   ///< static text
    Edit,    ///< one line that a user types into
    Combo,   ///< a list to choose from, with a field that takes typed text as well
    Button,  ///< pressed by sending WM_COMMAND with its number
};

/// What a view needs to lay a control out. Places are in the units of the dialog's own size.
struct ControlInfo {
    std::int32_t id = 0;
    ControlKind kind = ControlKind::Label;
    RECT place;
};

/// An open dialog. Counted, as it crosses the border between module and host: a view may keep it beyond the page, when
/// its messages reach nobody any more.
///
/// Texts are narrow, in UTF-8, as with SetWindowTextA and GetWindowTextA. Reading a text copies at most `capacity` - 1
/// bytes and a terminator, and gives the number of bytes without it.
///
/// Threads: all but SendMessage may be called from any, at any time. Controls are plain data under a lock that is held
/// for a copy alone; writing one runs nobody's code and waits for nobody. So there are no callbacks for changes: a view
/// waits for the count of changes to move on and looks again. SendMessage runs the page on the calling thread; the
/// caller sees to it that one thread at a time uses a page and the messages of its dialog.
struct IDialog : IUnknown {
    static constexpr GUID iid = mcgate::platform::guid("{7CB89407-4E04-4BCA-B191-3CA915BDBBBD}");

    /// The controls in the order in which the user walks through them. E_INVALIDARG past the last.
    virtual std::int32_t GetControlCount() = 0;
    virtual HRESULT GetControl(std::int32_t index, ControlInfo* control) = 0;

    /// The text of a control: a label's or button's face, what stands in a field. E_INVALIDARG without such a control.
    /// In a combo it is as if the user had typed it: nothing is selected then.
    virtual HRESULT SetText(std::int32_t id, const char* text) = 0;
    virtual std::int32_t GetText(std::int32_t id, char* buffer, std::int32_t capacity) = 0;
    /// Bytes of the whole text, without terminator; 0 without such a control.
    virtual std::int32_t GetTextLength(std::int32_t id) = 0;
    /// Deletes what is marked in a field. No mark is kept: the whole text counts as marked.
    virtual HRESULT ClearText(std::int32_t id) = 0;

    /// Items of a combo, by index from 0. Adding gives the index, CB_ERR or CB_ERRSPACE; an item has the value 0 at
    /// first. Without such an item: CB_ERR, 0 bytes, E_INVALIDARG.
    virtual std::int32_t AddItem(std::int32_t id, const char* text) = 0;
    virtual std::int32_t GetItemCount(std::int32_t id) = 0;
    virtual std::int32_t GetItemText(std::int32_t id, std::int32_t index, char* buffer, std::int32_t capacity) = 0;
    virtual std::int32_t GetItemTextLength(std::int32_t id, std::int32_t index) = 0;
    virtual HRESULT SetItemValue(std::int32_t id, std::int32_t index, std::uint32_t value) = 0;
    virtual HRESULT GetItemValue(std::int32_t id, std::int32_t index, std::uint32_t* value) = 0;
    /// The index of the selected item, or CB_ERR.
    virtual std::int32_t GetSelection(std::int32_t id) = 0;
    /// Selects an item, whose text then stands in the field; CB_ERR selects nothing and empties the field.
    virtual HRESULT SetSelection(std::int32_t id, std::int32_t index) = 0;

    virtual RECT GetPlace() = 0;  ///< in the parent
    virtual void SetPlace(const RECT& place) = 0;
    virtual std::int32_t IsVisible() = 0;
    virtual void SetVisible(std::int32_t visible) = 0;
    /// 0 once the dialog has been destroyed; its controls keep what they had.
    virtual std::int32_t IsOpen() = 0;

    /// Gives a message to the page and returns the page's answer; 0 once the dialog has been destroyed.
    virtual std::intptr_t SendMessage(std::uint32_t message, std::uintptr_t first, std::intptr_t second) = 0;

    /// How many times something has changed: a control, place, visibility, the destruction. Writing what stands there
    /// already is no change.
    virtual std::uint64_t GetChangeCount() = 0;
    /// Waits until there have been more than `seen` changes. S_FALSE after `timeoutMs` milliseconds.
    virtual HRESULT WaitForChange(std::uint64_t seen, std::uint32_t timeoutMs) = 0;

protected:
    ~IDialog() = default;
};

/// The window that dialogs are opened in: what a host hands to a property page. A dialog holds a reference until it is
/// destroyed. Called on the thread that activates and deactivates the page, with no lock held.
struct IDialogParent : IUnknown {
    static constexpr GUID iid = mcgate::platform::guid("{7A4D0BD4-4205-44AD-8CEF-B967F53EF742}");

    /// The dialog exists, with the texts of its template; its page has not seen it yet.
    virtual void OnChildCreated(IDialog* child) = 0;
    /// The page has let go of the dialog. Keep no reference to it for longer than need be: it counts as a live object
    /// of the page's module.
    virtual void OnChildDestroyed(IDialog* child) = 0;

protected:
    ~IDialogParent() = default;
};

}  // namespace mcgate::platform
