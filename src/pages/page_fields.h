#pragma once
// What stands in the fields of a page. All throw std::bad_alloc only.

#include <cstdint>
#include <string>

#include "platform/dialog.h"

/// The longest address that is read from a field, in bytes.
inline constexpr std::int32_t kLongestAddress = 31;

inline bool isEmpty(mcgate::platform::IDialog& dialog, std::int32_t id) { return dialog.GetTextLength(id) == 0; }

/// The first kLongestAddress bytes.
std::string fieldText(mcgate::platform::IDialog& dialog, std::int32_t id);

/// The number that a field begins with, after white space and with a sign; the nearest 32-bit limit for one beyond it,
/// 0 without digits. At most 30 bytes are read.
std::int32_t fieldNumber(mcgate::platform::IDialog& dialog, std::int32_t id);

/// Writes a text that a filter gave; null leaves the control as it is.
void showText(mcgate::platform::IDialog& dialog, std::int32_t id, const char16_t* text);

/// Whether it is a numeric IPv4 address, in any of the spellings that a filter may take. The broadcast address is none:
/// its value means an error.
bool isIPv4Text(const std::string& text);
