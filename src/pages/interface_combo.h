#pragma once
// The combo boxes in which a user chooses a local interface: an item for each address that can carry a group, with the
// address in network byte order as its value, then the words for every interface and for one that is not listed.

#include <cstdint>
#include <string>

#include "platform/dialog.h"
#include "platform/hresult.h"

/// Fills the box from the process's list of interfaces, without those that are down or know no multicast. E_FAIL when
/// the box refuses an item; those before it stay.
HRESULT FillInterfaceCombo(mcgate::platform::IDialog& dialog, std::int32_t combo);

/// Selects the item of `address` (network byte order; 0 is "any"), or "undefined" when the box doesn't have it.
void SelectInterface(mcgate::platform::IDialog& dialog, std::int32_t combo, std::uint32_t address);
/// The same for a numeric text of a filter's.
void SelectInterface(mcgate::platform::IDialog& dialog, std::int32_t combo, const char16_t* address);

/// The local address to apply: the selected item's text, with "0.0.0.0" for "any", or what the user typed, at most 31
/// bytes of it. "undefined" is given as it stands; filters refuse it. Throws std::bad_alloc.
std::string chosenInterface(mcgate::platform::IDialog& dialog, std::int32_t combo);
