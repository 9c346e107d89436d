#pragma once

#include "platform/unknown.h"

namespace mcgate::process {

/// A new filter mapper's interface, with a reference. E_NOINTERFACE, E_OUTOFMEMORY.
HRESULT createFilterMapper(const GUID& interfaceId, void** object) noexcept;

}  // namespace mcgate::process
