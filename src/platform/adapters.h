#pragma once
// The network interfaces of this host and their unicast addresses, asked of the kernel anew at each call.

#include <cstdint>
#include <string>
#include <vector>

#include "platform/socket_address.h"

namespace mcgate::platform {

/// Bits of Adapter::flags, in the numbers of this system.
enum AdapterFlag : std::uint32_t {
    AdapterUp = 1,  ///< set up by the administrator, cable or not
    AdapterBroadcast = 2,
    AdapterLoopback = 4,
    AdapterPointToPoint = 8,
    AdapterMulticast = 16,
};

struct AdapterAddress {
    SocketAddress address;    ///< port 0
    SocketAddress broadcast;  ///< port 0; family 0 when it has none
    std::uint8_t prefixLength = 0;
};

struct Adapter {
    std::uint32_t index = 0;
    std::string name;
    std::uint32_t flags = 0;              ///< of AdapterFlag
    bool running = false;                 ///< set up and with a carrier, so that it can carry data now
    std::vector<AdapterAddress> unicast;  ///< in the kernel's order
};

/// Fills `adapters` in ascending order of index; adapters without an address are left out. False, and an empty list,
/// when the kernel refuses. Any thread; the answer is that of the calling thread's network namespace.
bool listAdapters(std::vector<Adapter>& adapters);
/// As listAdapters, with those that have no address.
bool listAllAdapters(std::vector<Adapter>& adapters);

}  // namespace mcgate::platform
