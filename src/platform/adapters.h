#pragma once
// The network interfaces of this host and their unicast addresses, asked of the kernel anew at each call.

#include <cstdint>
#include <string>
#include <vector>

#include "platform/socket_address.h"

namespace mcgate::platform {

struct Adapter {
    std::uint32_t index = 0;
    std::string name;
    std::vector<SocketAddress> unicast;  ///< port 0, in the kernel's order
};

/// Fills `adapters` in ascending order of index; adapters without an address are left out. False, and an empty list,
/// when the kernel refuses. Any thread; the answer is that of the calling thread's network namespace.
bool listAdapters(std::vector<Adapter>& adapters);

}  // namespace mcgate::platform
