#pragma once

#include "cli/url.h"

namespace mcgate::host {

/// Whether this host receives by the one what it sends to the other, however their addresses are written. A group comes
/// back on the interface that it is sent by, and to a source-specific join only from its source: one and the same group
/// may be relayed from one network to another. False for what is no address. Asks the kernel; any thread.
bool comesBack(const SendUrl& to, const ReceiveUrl& from);

}  // namespace mcgate::host
