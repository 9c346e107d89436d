#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/socket_address.h"

namespace mcgate::host {

/// A network interface as an operator sees it.
struct Interface {
    std::uint32_t index = 0;
    std::string name;
    bool up = false;       ///< set up by the administrator
    bool running = false;  ///< and with a carrier, so that it can carry data now
    bool multicast = false;
    bool loopback = false;
    std::vector<platform::SocketAddress> addresses;  ///< IPv4 and IPv6, in the kernel's order
};

/// Those of the calling thread's network namespace, in ascending order of index. Throws std::runtime_error with the
/// error when the kernel refuses.
std::vector<Interface> listInterfaces();
/// "up", "no carrier" or "down".
const char* stateOf(const Interface& one);
/// Name and addresses, such as "eth0 10.0.0.2 fe80::2".
std::string describe(const Interface& one);

}  // namespace mcgate::host
