#pragma once

#include "platform/hresult.h"

/// Writes the module's classes into the registry, then registers its filters; ends at the first failure, and what was
/// written stays. Any thread; what throws is the caller's to stop.
HRESULT registerModule();
/// Unregisters the filters, then, if that went well, deletes the keys of the classes. What isn't there is no failure.
HRESULT unregisterModule();
