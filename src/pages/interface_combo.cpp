#include "pages/interface_combo.h"

#include <array>
#include <cstring>
#include <string_view>

#include "pages/page_fields.h"
#include "platform/socket.h"
#include "platform/text.h"
#include "util/interface_list.h"

using mcgate::platform::IDialog;

namespace {

constexpr const char* kAny = "any";
constexpr const char* kUndefined = "undefined";
constexpr std::uint32_t kAnyValue = 0;
constexpr std::uint32_t kUndefinedValue = 0xFFFFFFFE;
constexpr std::uint32_t kUsable = mcgate::platform::AdapterUp | mcgate::platform::AdapterMulticast;

std::string dotted(const mcgate::util::InterfaceAddress& info) {
    mcgate::platform::SocketAddress address;
    address.setFamily(mcgate::platform::kFamilyIPv4);
    std::memcpy(address.address(), info.address.data(), info.address.size());
    return numericText(address);
}

// By the index that the adding gave, so that a box may keep its items in an order of its own.
bool addItem(IDialog& dialog, std::int32_t combo, const char* text, std::uint32_t value) {
    const std::int32_t index = dialog.AddItem(combo, text);
    return index >= 0 && SUCCEEDED(dialog.SetItemValue(combo, index, value));
}

std::int32_t findValue(IDialog& dialog, std::int32_t combo, std::uint32_t wanted) {
    std::uint32_t value = 0;
    for (std::int32_t i = 0; SUCCEEDED(dialog.GetItemValue(combo, i, &value)); ++i) {
        if (value == wanted) return i;
    }
    return CB_ERR;
}

}  // namespace

HRESULT FillInterfaceCombo(IDialog& dialog, std::int32_t combo) {
    for (const auto& one : mcgate::util::interfaceList()) {
        if ((one.iiFlags & kUsable) != kUsable) continue;
        if (!addItem(dialog, combo, dotted(one.iiAddress).c_str(), one.iiAddress.word())) return E_FAIL;
    }
    const bool added = addItem(dialog, combo, kAny, kAnyValue) && addItem(dialog, combo, kUndefined, kUndefinedValue);
    return added ? S_OK : E_FAIL;
}

void SelectInterface(IDialog& dialog, std::int32_t combo, std::uint32_t address) {
    const std::int32_t index = findValue(dialog, combo, address);
    dialog.SetSelection(combo, index != CB_ERR ? index : findValue(dialog, combo, kUndefinedValue));
}

void SelectInterface(IDialog& dialog, std::int32_t combo, const char16_t* address) {
    const std::string text = mcgate::platform::toNarrow(address);
    SelectInterface(dialog, combo, mcgate::platform::ipv4WordOfText(text.c_str()));
}

std::string chosenInterface(IDialog& dialog, std::int32_t combo) {
    const std::int32_t selected = dialog.GetSelection(combo);
    if (selected == CB_ERR) return fieldText(dialog, combo);
    std::array<char, kLongestAddress + 2> text{};  // room to see that an item is too long for an address
    const std::int32_t length =
        dialog.GetItemText(combo, selected, text.data(), static_cast<std::int32_t>(text.size()));
    if (length > kLongestAddress) return {};
    return std::string_view(text.data()) == kAny ? "0.0.0.0" : text.data();
}
