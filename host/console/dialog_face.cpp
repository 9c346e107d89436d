#include "console/dialog_face.h"

#include <algorithm>
#include <map>

#include "console/not_found.h"

namespace mcgate::host {

using platform::ControlInfo;
using platform::ControlKind;
using platform::IDialog;
using Kind = DialogFace::Kind;

namespace {

// The whole text behind a pair of calls for its length and its bytes. Another thread may write it meanwhile: then
// again.
template <class Length, class Copy>
std::string wholeText(Length&& length, Copy&& copy) {
    for (;;) {
        std::string text(static_cast<std::size_t>(length()) + 1, '\0');
        const std::int32_t copied = copy(text.data(), static_cast<std::int32_t>(text.size()));
        text.resize(static_cast<std::size_t>(copied));
        if (length() == copied) return text;
    }
}

std::string textOf(IDialog& dialog, int id) {
    return wholeText([&] { return dialog.GetTextLength(id); },
                     [&](char* buffer, std::int32_t capacity) { return dialog.GetText(id, buffer, capacity); });
}

std::vector<std::string> itemsOf(IDialog& dialog, int id) {
    std::vector<std::string> items;
    items.reserve(static_cast<std::size_t>(std::max(dialog.GetItemCount(id), 0)));
    for (std::int32_t at = 0; at < dialog.GetItemCount(id); ++at) {
        items.push_back(wholeText(
            [&] { return dialog.GetItemTextLength(id, at); },
            [&](char* buffer, std::int32_t capacity) { return dialog.GetItemText(id, at, buffer, capacity); }));
    }
    return items;
}

Kind kindOf(IDialog& dialog, const ControlInfo& control) {
    switch (control.kind) {
        case ControlKind::Combo:
            return Kind::Combo;
        case ControlKind::Edit:
            return Kind::Edit;
        case ControlKind::Button:
            return Kind::Button;
        case ControlKind::Label:
            break;
    }
    return dialog.GetTextLength(control.id) == 0 ? Kind::Text : Kind::Label;
}

bool isLeftOf(const RECT& one, const RECT& other) {
    return one.right <= other.left && one.top < other.bottom && other.top < one.bottom;
}

bool isAbove(const RECT& one, const RECT& other) {
    return one.bottom <= other.top && one.left < other.right && other.left < one.right;
}

// Of the controls for which `stands` holds the one with the greatest `edge`, or none.
template <class Control, class Stands, class Edge>
const Control* nearest(const std::vector<Control>& controls, Stands&& stands, Edge&& edge) {
    const Control* found = nullptr;
    for (const Control& one : controls) {
        if (stands(one) && (found == nullptr || edge(*found) < edge(one))) found = &one;
    }
    return found;
}

}  // namespace

const char* nameOf(Kind kind) {
    switch (kind) {
        case Kind::Combo:
            return "combo";
        case Kind::Edit:
            return "edit";
        case Kind::Button:
            return "button";
        case Kind::Text:
            return "text";
        case Kind::Label:
            break;
    }
    return "label";
}

DialogFace::DialogFace(IDialog& dialog) {
    ControlInfo info;
    for (std::int32_t at = 0; SUCCEEDED(dialog.GetControl(at, &info)); ++at) {
        controls_.push_back({info.id, host::kindOf(dialog, info), info.place, {}});
    }
    std::map<int, std::vector<Control*>> labelled;  // by the label
    for (Control& one : controls_) {
        if (one.kind == Kind::Button || one.kind == Kind::Label) continue;
        const Control* label = nearest(
            controls_, [&](const Control& other) { return isLeftOf(other.place, one.place); },
            [](const Control& other) { return other.place.right; });
        if (one.kind != Kind::Text && (label == nullptr || label->kind != Kind::Label)) {
            label = nearest(
                controls_,
                [&](const Control& other) { return other.kind == Kind::Label && isAbove(other.place, one.place); },
                [](const Control& other) { return other.place.bottom; });
        }
        if (label != nullptr && label->kind == Kind::Label) labelled[label->id].push_back(&one);
    }
    for (const auto& [label, users] : labelled) {
        for (std::size_t at = 0; at < users.size(); ++at) {
            users[at]->label = textOf(dialog, label) + (users.size() > 1 ? " " + std::to_string(at + 1) : "");
        }
    }
    std::erase_if(controls_, [&](const Control& one) { return labelled.contains(one.id); });
}

Kind DialogFace::kindOf(int control) const {
    const auto found =
        std::find_if(controls_.begin(), controls_.end(), [&](const Control& one) { return one.id == control; });
    if (found == controls_.end()) throw NotFound("the page has no control " + std::to_string(control));
    return found->kind;
}

nlohmann::ordered_json DialogFace::controls(IDialog& dialog) const {
    auto all = nlohmann::ordered_json::array();
    for (const Control& one : controls_) {
        const RECT& place = one.place;
        nlohmann::ordered_json control{{"id", one.id},
                                       {"kind", nameOf(one.kind)},
                                       {"label", one.label},
                                       {"x", place.left},
                                       {"y", place.top},
                                       {"width", place.right - place.left},
                                       {"height", place.bottom - place.top},
                                       {"text", textOf(dialog, one.id)}};
        if (one.kind == Kind::Combo) {
            control["items"] = itemsOf(dialog, one.id);
            control["selection"] = dialog.GetSelection(one.id);
        }
        all.push_back(std::move(control));
    }
    return all;
}

}  // namespace mcgate::host
