#include "pages/page_fields.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <limits>

#include "platform/socket.h"
#include "platform/text.h"

using mcgate::platform::IDialog;

std::string fieldText(IDialog& dialog, std::int32_t id) {
    std::array<char, kLongestAddress + 1> text{};
    dialog.GetText(id, text.data(), static_cast<std::int32_t>(text.size()));
    return text.data();
}

std::int32_t fieldNumber(IDialog& dialog, std::int32_t id) {
    std::array<char, 31> text{};
    dialog.GetText(id, text.data(), static_cast<std::int32_t>(text.size()));
    using Limits = std::numeric_limits<std::int32_t>;
    const long long value = std::strtoll(text.data(), nullptr, 10);  // stops at its own limits, which lie beyond
    return static_cast<std::int32_t>(std::clamp<long long>(value, Limits::min(), Limits::max()));
}

void showText(IDialog& dialog, std::int32_t id, const char16_t* text) {
    if (text != nullptr) dialog.SetText(id, mcgate::platform::toNarrow(text).c_str());
}

bool isIPv4Text(const std::string& text) {
    constexpr std::uint32_t kNone = 0xFFFFFFFF;
    return mcgate::platform::ipv4WordOfText(text.c_str()) != kNone;
}
